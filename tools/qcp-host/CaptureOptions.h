#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "SettingsRecord.h"

namespace qcphost {

// What `qcp-host capture` was asked to do.
struct CaptureOptions {
    int display = 0;
    std::string region; // "left,top,right,bottom", inclusive, in the display's points
    std::string window;
    std::string app;
    bool game = false;
    bool cursor = true;
    double seconds = 3;
    uint64_t frames = 0; // stop after this many video frames; 0: by time only
    std::string output = "capture-out";
    double pngInterval = 1.0;
    bool video = true; // with audio off: PNG samples but no MP4; with audio on: no screen capture at all
    bool audio = false;

    // False, with the reason in `error`, for an unknown option, a missing or
    // malformed value, or --window without --app. --help is no option here:
    // the command line answers it before the options are read.
    static bool Parse(const std::vector<std::string>& args, CaptureOptions& options, std::string& error);

    // Whether the screen is captured: always, unless audio alone was asked for.
    bool screen() const { return video || !audio; }

    // The settings record that aims a source at what was asked.
    SettingsRecord Settings() const;
};

} // namespace qcphost

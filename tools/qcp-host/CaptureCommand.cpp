// `qcp-host capture`: captures a display, a region or a window through the
// settings record and reports what reached the host's video callback.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Commands.h"

namespace qcphost {
namespace {

struct CaptureOptions {
    int display = 0;
    std::string region; // "left,top,right,bottom", inclusive
    std::string window;
    std::string app;
    bool game = false;
    bool cursor = true;
    double seconds = 3;
};

constexpr const char* kUsage =
    "usage: capture [--display N] [--region LEFT,TOP,RIGHT,BOTTOM] [--window TITLE --app APP [--game]]\n"
    "               [--cursor on|off] [--duration SECONDS]\n";

bool Parse(const std::vector<std::string>& args, CaptureOptions& options, std::string& error) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& flag = args[i];
        if (flag == "--game") {
            options.game = true;
            continue;
        }
        if (i + 1 >= args.size()) {
            error = flag + " needs a value";
            return false;
        }
        const std::string& value = args[++i];
        char* end = nullptr;
        if (flag == "--display") {
            options.display = int(std::strtol(value.c_str(), &end, 10));
            if (*end || options.display < 0) error = "--display takes a display index";
        } else if (flag == "--region") {
            options.region = value;
        } else if (flag == "--window") {
            options.window = value;
        } else if (flag == "--app") {
            options.app = value;
        } else if (flag == "--cursor") {
            options.cursor = value != "off";
        } else if (flag == "--duration") {
            options.seconds = std::strtod(value.c_str(), &end);
            if (*end || options.seconds <= 0) error = "--duration takes a positive number of seconds";
        } else {
            error = "unknown option " + flag;
        }
        if (!error.empty()) return false;
    }
    if (!options.window.empty() && options.app.empty()) error = "--window needs --app";
    return error.empty();
}

std::string Parameter(const std::string& name, const std::string& value) {
    return "<parameter name=\"" + name + "\" value=\"" + value + "\"/>";
}

std::string SettingsFor(const CaptureOptions& options) {
    std::string xml = "<settings>";
    xml += Parameter("cursor", options.cursor ? "true" : "false");
    if (!options.window.empty()) {
        xml += Parameter("Type", options.game ? "2" : "1");
        xml += Parameter("capture_window", options.window) + Parameter("capture_app", options.app);
    } else {
        xml += Parameter("Type", "0");
        xml += Parameter("capture_monitor", std::to_string(options.display));
        if (!options.region.empty())
            xml += Parameter("capture_monitor_region", options.region) + Parameter("capture_monitor_state", "1");
    }
    return xml + "</settings>";
}

// What arrived, gathered on the capture threads.
struct Tally {
    std::mutex mutex;
    uint64_t frames = 0;
    uint64_t noFeed = 0;
    std::map<std::pair<uint32_t, uint32_t>, uint64_t> sizes;

    static void Arrived(void* context, QCP_VideoBuffer* frame) {
        auto* tally = static_cast<Tally*>(context);
        std::lock_guard lock(tally->mutex);
        ++tally->frames;
        ++tally->sizes[{frame->width, frame->height}];
        if (frame->width == 1280 && frame->height == 720 && frame->timeStamp != 0) ++tally->noFeed;
    }
};

} // namespace

int CaptureCommand(PluginLibrary& plugin, const std::vector<std::string>& args) {
    CaptureOptions options;
    std::string error;
    if (!Parse(args, options, error)) {
        std::fprintf(stderr, "qcp-host: %s\n%s", error.c_str(), kUsage);
        return 2;
    }
    const char* source = "qcp-host capture";
    plugin.QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, source);
    Tally tally;
    plugin.QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, source, &Tally::Arrived, &tally);
    plugin.QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, source, SettingsFor(options).c_str());

    std::this_thread::sleep_for(std::chrono::duration<double>(options.seconds));
    plugin.QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, source);

    std::lock_guard lock(tally.mutex);
    std::printf("frames: %llu in %.2f s (%.1f per second), no-feed frames: %llu\n",
                (unsigned long long)tally.frames, options.seconds, tally.frames / options.seconds,
                (unsigned long long)tally.noFeed);
    for (const auto& [size, count] : tally.sizes)
        std::printf("  %u x %u: %llu frames\n", size.first, size.second, (unsigned long long)count);
    return tally.frames > 0 ? 0 : 1;
}

} // namespace qcphost

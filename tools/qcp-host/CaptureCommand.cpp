// `qcp-host capture`: captures a display, a region or a window through the
// settings record, records what reaches the host's video callback, and
// reports it.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "CaptureStats.h"
#include "Commands.h"
#include "FrameRecorder.h"
#include "WindowCatalogue.h"

namespace qcphost {
namespace {

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
    bool video = true;
};

constexpr const char* kUsage =
    "usage: capture [--display N] [--region LEFT,TOP,RIGHT,BOTTOM] [--window TITLE --app APP [--game]]\n"
    "               [--cursor on|off] [--duration SECONDS] [--frames N] [--output DIR]\n"
    "               [--png-interval SECONDS] [--no-video]\n";

bool Number(const std::string& text, double& value) {
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && !*end;
}

bool Parse(const std::vector<std::string>& args, CaptureOptions& options, std::string& error) {
    for (size_t i = 0; i < args.size() && error.empty(); ++i) {
        const std::string& flag = args[i];
        if (flag == "--game") {
            options.game = true;
        } else if (flag == "--no-video") {
            options.video = false;
        } else if (i + 1 >= args.size()) {
            error = flag + " needs a value";
        } else {
            const std::string& value = args[++i];
            double number = 0;
            if (flag == "--display") {
                if (!Number(value, number) || number < 0) error = "--display takes a display index";
                options.display = int(number);
            } else if (flag == "--region") {
                int l, t, r, b;
                char tail;
                if (std::sscanf(value.c_str(), "%d,%d,%d,%d%c", &l, &t, &r, &b, &tail) != 4 || r < l || b < t)
                    error = "--region takes LEFT,TOP,RIGHT,BOTTOM with right >= left and bottom >= top";
                options.region = value;
            } else if (flag == "--window") {
                options.window = value;
            } else if (flag == "--app") {
                options.app = value;
            } else if (flag == "--cursor") {
                if (value != "on" && value != "off") error = "--cursor takes on or off";
                options.cursor = value == "on";
            } else if (flag == "--duration") {
                if (!Number(value, options.seconds) || options.seconds <= 0)
                    error = "--duration takes a positive number of seconds";
            } else if (flag == "--frames") {
                if (!Number(value, number) || number < 1) error = "--frames takes a positive count";
                options.frames = uint64_t(number);
            } else if (flag == "--output") {
                options.output = value;
            } else if (flag == "--png-interval") {
                if (!Number(value, options.pngInterval) || options.pngInterval < 0)
                    error = "--png-interval takes seconds (0: no PNG files)";
            } else {
                error = "unknown option " + flag;
            }
        }
    }
    if (error.empty() && options.window.empty() != options.app.empty()) error = "--window and --app go together";
    return error.empty();
}

std::string Parameter(const std::string& name, const std::string& value) {
    return "<parameter name=\"" + name + "\" value=\"" + value + "\"/>";
}

std::string SettingsFor(const CaptureOptions& options) {
    std::string xml = "<settings>" + Parameter("cursor", options.cursor ? "true" : "false");
    if (!options.window.empty()) {
        xml += Parameter("Type", options.game ? "2" : "1");
        xml += Parameter("capture_window", options.window) + Parameter("capture_app", options.app);
    } else {
        xml += Parameter("Type", "0") + Parameter("capture_monitor", std::to_string(options.display));
        if (!options.region.empty())
            xml += Parameter("capture_monitor_region", options.region) + Parameter("capture_monitor_state", "1");
    }
    return xml + "</settings>";
}

// Everything the video callback touches.
struct Session {
    PluginLibrary* plugin = nullptr;
    CaptureStats stats;
    FrameRecorder* recorder = nullptr;
    uint64_t start = 0;

    static void Arrived(void* context, QCP_VideoBuffer* frame) {
        auto* session = static_cast<Session*>(context);
        const bool noFeed = frame->width == 1280 && frame->height == 720 && session->IsPlaceholder(frame);
        session->stats.Add(frame->width, frame->height, noFeed ? 0 : frame->timeStamp, noFeed);
        if (noFeed || !frame->surfaceId) return;
        PluginLibrary& plugin = *session->plugin;
        QCP_Surface* surface = plugin.QCP_SurfaceLookup(*frame->surfaceId);
        if (!surface) return;
        plugin.QCP_SurfaceLock(surface);
        session->recorder->Offer(static_cast<const uint8_t*>(plugin.QCP_SurfaceGetBaseAddress(surface)),
                                 plugin.QCP_SurfaceGetWidth(surface), plugin.QCP_SurfaceGetHeight(surface),
                                 plugin.QCP_SurfaceGetBytesPerRow(surface),
                                 (CaptureStats::NowMicros() - session->start) / 1e6);
        plugin.QCP_SurfaceUnlock(surface);
        plugin.QCP_SurfaceRelease(surface);
    }

    // The no-feed frame is 1280 x 720 and fully transparent; a captured
    // display of that size is opaque.
    bool IsPlaceholder(QCP_VideoBuffer* frame) {
        if (!frame->surfaceId) return true;
        QCP_Surface* surface = plugin->QCP_SurfaceLookup(*frame->surfaceId);
        if (!surface) return true;
        plugin->QCP_SurfaceLock(surface);
        const auto* pixels = static_cast<const uint8_t*>(plugin->QCP_SurfaceGetBaseAddress(surface));
        const bool transparent = pixels[3] == 0 && pixels[(720 / 2) * frame->bytesPerRow + 640 * 4 + 3] == 0;
        plugin->QCP_SurfaceUnlock(surface);
        plugin->QCP_SurfaceRelease(surface);
        return transparent;
    }
};

void Progress(double elapsed, const CaptureStats::Summary& s, uint64_t dropped) {
    std::fprintf(stderr, "\r  %5.1f s  %6llu frames  %5.1f per second  %llu dropped ", elapsed,
                 (unsigned long long)s.frames, elapsed > 0 ? s.frames / elapsed : 0.0, (unsigned long long)dropped);
}

} // namespace

int CaptureCommand(PluginLibrary& plugin, const std::vector<std::string>& args) {
    CaptureOptions options;
    std::string error;
    if (!Parse(args, options, error)) {
        std::fprintf(stderr, "qcp-host: %s\n%s", error.c_str(), kUsage);
        return 2;
    }
    if (!options.window.empty() && !WindowCatalogue::Read(plugin).Has(options.window, options.app)) {
        std::fprintf(stderr, "qcp-host: no window \"%s\" of \"%s\" can be captured; `qcp-host list` shows them\n",
                     options.window.c_str(), options.app.c_str());
        return 2;
    }
    std::error_code ignored;
    std::filesystem::create_directories(options.output, ignored);
    if (access(options.output.c_str(), W_OK) != 0) {
        std::fprintf(stderr, "qcp-host: cannot write into %s\n", options.output.c_str());
        return 1;
    }

    FrameRecorder recorder({options.output, options.pngInterval, options.video, 60});
    Session session;
    session.plugin = &plugin;
    session.recorder = &recorder;
    session.start = CaptureStats::NowMicros();
    const char* source = "qcp-host capture";
    plugin.QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, source);
    plugin.QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, source, &Session::Arrived, &session);
    plugin.QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, source, SettingsFor(options).c_str());

    const auto begin = std::chrono::steady_clock::now();
    double elapsed = 0;
    for (int tick = 0; elapsed < options.seconds; ++tick) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        const CaptureStats::Summary now = session.stats.Snapshot();
        if (tick % 25 == 0) Progress(elapsed, now, recorder.dropped());
        if (options.frames && now.frames >= options.frames) break;
    }
    plugin.QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, source);
    recorder.Finish();

    const CaptureStats::Summary summary = session.stats.Snapshot();
    Progress(elapsed, summary, recorder.dropped());
    std::fprintf(stderr, "\n");
    std::printf("frames: %llu in %.2f s (%.1f per second), dropped: %llu, no-feed frames: %llu\n",
                (unsigned long long)summary.frames, elapsed, summary.frames / elapsed,
                (unsigned long long)recorder.dropped(), (unsigned long long)summary.noFeed);
    for (const auto& [size, count] : summary.sizes)
        std::printf("  %u x %u: %llu frames\n", size.first, size.second, (unsigned long long)count);
    std::printf("interval: mean %.2f ms, worst %.2f ms; capture to callback: mean %.2f ms, worst %.2f ms\n",
                summary.meanIntervalMs, summary.worstIntervalMs, summary.meanLatencyMs, summary.worstLatencyMs);
    const std::string json = options.output + "/summary.json";
    std::ofstream(json) << CaptureStats::Json(summary, elapsed, recorder.dropped());
    std::printf("PNG frames: %zu in %s\n", recorder.pngFiles().size(), options.output.c_str());
    if (!recorder.videoFile().empty())
        std::printf("video: %s\n", recorder.videoFile().c_str());
    else if (options.video)
        std::printf("video: none (%s)\n", recorder.videoProblem().empty() ? "no frames" : recorder.videoProblem().c_str());
    std::printf("summary: %s\n", json.c_str());
    if (summary.frames == 0) {
        std::fprintf(stderr, "qcp-host: no video arrived%s\n",
                     options.region.empty() ? "" : "; the region may lie outside the display");
        return 1;
    }
    return 0;
}

} // namespace qcphost

// `qcp-host capture`: captures a display, a region or a window through the
// settings record and, when asked, the system audio; records what reaches the
// host's video and audio callbacks, and reports it.
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "AudioRecorder.h"
#include "AudioReport.h"
#include "CaptureOptions.h"
#include "CaptureStats.h"
#include "Commands.h"
#include "Displays.h"
#include "FrameRecorder.h"
#include "PluginSettings.h"
#include "WindowCatalogue.h"

namespace qcphost {
namespace {

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

void Progress(double elapsed, const std::optional<CaptureStats::Summary>& video, uint64_t dropped,
              const AudioRecorder* audio) {
    std::fprintf(stderr, "\r  %5.1f s", elapsed);
    if (video)
        std::fprintf(stderr, "  %6llu frames  %5.1f per second  %llu dropped", (unsigned long long)video->frames,
                     elapsed > 0 ? video->frames / elapsed : 0.0, (unsigned long long)dropped);
    if (audio) {
        const AudioRecorder::Progress now = audio->progress();
        std::fprintf(stderr, "  %5llu packets  ", (unsigned long long)now.packets);
        if (std::isfinite(now.recentPeakDbfs))
            std::fprintf(stderr, "%6.1f dBFS", now.recentPeakDbfs);
        else
            std::fprintf(stderr, "silence  ");
    }
    std::fprintf(stderr, " ");
}

// Refuses a capture whose display or window is not there: one line on
// stderr and the exit status, or 0.
int CheckScreen(PluginLibrary& plugin, const CaptureOptions& options) {
    // Without a display there is nothing to record, window or not.
    const int displays = CountDisplays(plugin);
    if (displays == 0) {
        std::fprintf(stderr, "qcp-host: %s\n",
                     NoDisplaysMessage(std::getenv("QCP_PLATFORM"), std::getenv("DISPLAY")).c_str());
        return 1;
    }
    if (options.window.empty() && options.display >= displays) {
        std::fprintf(stderr, "qcp-host: no display %d; the plug-in lists %d (0 to %d)\n", options.display, displays,
                     displays - 1);
        return 2;
    }
    if (!options.window.empty() && !WindowCatalogue::Read(plugin).Has(options.window, options.app)) {
        std::fprintf(stderr, "qcp-host: no window \"%s\" of \"%s\" can be captured; `qcp-host list` shows them\n",
                     options.window.c_str(), options.app.c_str());
        return 2;
    }
    return 0;
}

void PrintVideo(const CaptureStats::Summary& summary, double elapsed, const FrameRecorder& recorder,
                const CaptureOptions& options) {
    std::printf("frames: %llu in %.2f s (%.1f per second), dropped: %llu, no-feed frames: %llu\n",
                (unsigned long long)summary.frames, elapsed, summary.frames / elapsed,
                (unsigned long long)recorder.dropped(), (unsigned long long)summary.noFeed);
    for (const auto& [size, count] : summary.sizes)
        std::printf("  %u x %u: %llu frames\n", size.first, size.second, (unsigned long long)count);
    std::printf("interval: mean %.2f ms, worst %.2f ms; capture to callback: mean %.2f ms, worst %.2f ms\n",
                summary.meanIntervalMs, summary.worstIntervalMs, summary.meanLatencyMs, summary.worstLatencyMs);
    std::printf("PNG frames: %zu in %s\n", recorder.pngFiles().size(), options.output.c_str());
    if (!recorder.videoFile().empty())
        std::printf("video: %s\n", recorder.videoFile().c_str());
    else if (options.video)
        std::printf("video: none (%s)\n", recorder.videoProblem().empty() ? "no frames" : recorder.videoProblem().c_str());
}

} // namespace

int CaptureCommand(PluginLibrary& plugin, const std::vector<std::string>& args) {
    CaptureOptions options;
    std::string error;
    if (!CaptureOptions::Parse(args, options, error)) {
        std::fprintf(stderr, "qcp-host: %s\n%s", error.c_str(), CaptureOptions::kUsage);
        return 2;
    }
    if (options.screen()) {
        if (const int refused = CheckScreen(plugin, options)) return refused;
    }
    std::error_code ignored;
    std::filesystem::create_directories(options.output, ignored);
    if (access(options.output.c_str(), W_OK) != 0) {
        std::fprintf(stderr, "qcp-host: cannot write into %s\n", options.output.c_str());
        return 1;
    }

    std::optional<AudioRecorder> audio;
    if (options.audio) {
        audio.emplace(options.output + "/audio.wav");
        if (!audio->Start(error)) {
            std::fprintf(stderr, "qcp-host: %s\n", error.c_str());
            return 1;
        }
    }
    std::optional<FrameRecorder> recorder;
    Session session;
    const char* source = "qcp-host capture";
    if (options.screen()) {
        recorder.emplace(FrameRecorder::Options{options.output, options.pngInterval, options.video, 60});
        session.plugin = &plugin;
        session.recorder = &*recorder;
        session.start = CaptureStats::NowMicros();
        plugin.QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, source);
        plugin.QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, source, &Session::Arrived, &session);
        ApplySettings(plugin, source, options.Settings());
    }
    const auto videoNow = [&]() -> std::optional<CaptureStats::Summary> {
        if (!recorder) return std::nullopt;
        return session.stats.Snapshot();
    };
    const auto droppedFrames = [&] { return recorder ? recorder->dropped() : 0; };

    // Audio starts and stops as close to the timed loop as it can, so that it
    // lasts about --duration whatever setting the screen up takes.
    if (audio)
        plugin.QCP_RegisterAudioDataArrivedCallback(QCP_AUDIO_DEVICE_ID, nullptr, &AudioRecorder::Arrived, &*audio);
    const auto begin = std::chrono::steady_clock::now();
    double elapsed = 0;
    for (int tick = 0; elapsed < options.seconds; ++tick) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        const std::optional<CaptureStats::Summary> now = videoNow();
        if (tick % 25 == 0) Progress(elapsed, now, droppedFrames(), audio ? &*audio : nullptr);
        if (now && options.frames && now->frames >= options.frames) break;
    }
    if (audio) {
        // No call follows the clearing, so the recorder may finish.
        plugin.QCP_RegisterAudioDataArrivedCallback(QCP_AUDIO_DEVICE_ID, nullptr, &AudioRecorder::Arrived, nullptr);
        audio->Finish();
    }
    if (recorder) {
        plugin.QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, source);
        recorder->Finish();
    }

    const std::optional<CaptureStats::Summary> summary = videoNow();
    Progress(elapsed, summary, droppedFrames(), audio ? &*audio : nullptr);
    std::fprintf(stderr, "\n");
    char seconds[64];
    std::snprintf(seconds, sizeof seconds, "{\n  \"seconds\": %.3f", elapsed);
    std::string json = seconds;
    if (summary) {
        PrintVideo(*summary, elapsed, *recorder, options);
        json += ",\n" + CaptureStats::JsonFields(*summary, elapsed, recorder->dropped());
    }
    if (audio) {
        std::fputs(AudioLines(*audio).c_str(), stdout);
        json += ",\n  \"audio\": " + AudioJson(*audio);
    }
    const std::string jsonFile = options.output + "/summary.json";
    std::ofstream(jsonFile) << json << "\n}\n";
    std::printf("summary: %s\n", jsonFile.c_str());

    std::string failure;
    if (summary && summary->frames == 0)
        failure = options.region.empty() ? "no video arrived" : "no video arrived; the region may lie outside the display";
    if (audio && !AudioFailure(*audio).empty())
        failure += (failure.empty() ? "" : "; ") + AudioFailure(*audio);
    if (failure.empty()) return 0;
    std::fprintf(stderr, "qcp-host: %s\n", failure.c_str());
    return 1;
}

} // namespace qcphost

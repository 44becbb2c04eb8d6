// `qcp-host capture`: captures a display, a region or a window through the
// settings record and, when asked, the system audio; records what reaches the
// host's video and audio callbacks in true time, and reports it.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "AudioMux.h"
#include "AudioRecorder.h"
#include "AudioReport.h"
#include "CaptureOptions.h"
#include "CaptureStats.h"
#include "Commands.h"
#include "Displays.h"
#include "FrameRecorder.h"
#include "PluginSettings.h"
#include "Region.h"
#include "StopSignals.h"
#include "WindowCatalogue.h"

namespace qcphost {
namespace {

// Everything the video callback touches.
struct Session {
    PluginLibrary* plugin = nullptr;
    CaptureStats stats;
    FrameRecorder* recorder = nullptr;
    uint64_t start = 0; // microseconds on the steady clock

    double SecondsSince(uint64_t micros) const { return micros > start ? (micros - start) / 1e6 : 0; }

    static void Arrived(void* context, QCP_VideoBuffer* frame) {
        auto* session = static_cast<Session*>(context);
        const uint64_t now = CaptureStats::NowMicros();
        const bool noFeed = frame->width == 1280 && frame->height == 720 && session->IsPlaceholder(frame);
        session->stats.Add(frame->width, frame->height, noFeed ? 0 : frame->timeStamp, noFeed);
        if (noFeed || !frame->surfaceId) return;
        // A frame keeps its capture time; one without a usable stamp, its arrival.
        const uint64_t captured = frame->timeStamp != 0 && frame->timeStamp <= now ? frame->timeStamp : now;
        PluginLibrary& plugin = *session->plugin;
        QCP_Surface* surface = plugin.QCP_SurfaceLookup(*frame->surfaceId);
        if (!surface) return;
        plugin.QCP_SurfaceLock(surface);
        session->recorder->Offer(static_cast<const uint8_t*>(plugin.QCP_SurfaceGetBaseAddress(surface)),
                                 plugin.QCP_SurfaceGetWidth(surface), plugin.QCP_SurfaceGetHeight(surface),
                                 plugin.QCP_SurfaceGetBytesPerRow(surface), session->SecondsSince(captured));
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

// The progress line: rewritten in place on a terminal, one plain line a
// second when stderr is a file or a pipe.
class Progress {
public:
    Progress() : fTerminal(isatty(STDERR_FILENO) == 1) {}

    void Tick(double elapsed, const std::optional<CaptureStats::Summary>& video, uint64_t dropped,
              const AudioRecorder* audio) {
        if (elapsed < fNextShow) return;
        Show(elapsed, video, dropped, audio);
        fNextShow = elapsed + (fTerminal ? 0.5 : 1.0);
    }
    void Show(double elapsed, const std::optional<CaptureStats::Summary>& video, uint64_t dropped,
              const AudioRecorder* audio) {
        std::string line = Format("%5.1f s", elapsed);
        if (video)
            line += Format("  %6llu frames  %5.1f per second  %llu dropped by the recorder",
                           (unsigned long long)video->frames, elapsed > 0 ? video->frames / elapsed : 0.0,
                           (unsigned long long)dropped);
        if (audio) {
            const AudioRecorder::Progress now = audio->progress();
            line += Format("  %5llu packets  ", (unsigned long long)now.packets);
            line += std::isfinite(now.recentPeakDbfs) ? Format("%6.1f dBFS", now.recentPeakDbfs) : "silence  ";
        }
        std::fprintf(stderr, fTerminal ? "\r  %s \x1b[K" : "  %s\n", line.c_str());
        fShown = true;
    }
    // Ends the line in place before anything else is printed.
    void Close() {
        if (fTerminal && fShown) std::fputc('\n', stderr);
        fShown = false;
    }

private:
    template <class... Values>
    static std::string Format(const char* format, Values... values) {
        char text[160];
        std::snprintf(text, sizeof text, format, values...);
        return text;
    }

    const bool fTerminal;
    bool fShown = false;
    double fNextShow = 0;
};

// Refuses a capture whose display, region or window the plug-in does not
// list: one line on stderr and the exit status, or 0.
int CheckScreen(PluginLibrary& plugin, const CaptureOptions& options) {
    // Without a display there is nothing to record, window or not.
    const std::vector<DisplayInfo> displays = ReadDisplays(plugin);
    if (displays.empty()) {
        std::fprintf(stderr, "qcp-host: %s\n",
                     NoDisplaysMessage(std::getenv("QCP_PLATFORM"), std::getenv("DISPLAY")).c_str());
        return 1;
    }
    if (!options.window.empty()) {
        if (WindowCatalogue::Read(plugin).Has(options.window, options.app)) return 0;
        std::fprintf(stderr, "qcp-host: no window \"%s\" of \"%s\" can be captured; `qcp-host list` shows them\n",
                     options.window.c_str(), options.app.c_str());
        return 2;
    }
    const DisplayInfo* display = FindDisplay(displays, options.display);
    if (!display) {
        std::fprintf(stderr, "qcp-host: %s\n", NoSuchDisplayMessage(displays, options.display).c_str());
        return 2;
    }
    if (const std::optional<Region> region = Region::Parse(options.region)) {
        const std::string problem = RegionProblem(*display, region->left, region->top, region->right, region->bottom);
        if (!problem.empty()) {
            std::fprintf(stderr, "qcp-host: %s\n", problem.c_str());
            return 2;
        }
    }
    return 0;
}

// A folder that the files can go into; false with the reason printed.
bool OutputFolder(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (!error && !std::filesystem::is_directory(path, error)) error = std::make_error_code(std::errc::not_a_directory);
    if (!error && access(path.c_str(), W_OK) != 0) error = std::error_code(errno, std::generic_category());
    if (!error) return true;
    std::fprintf(stderr, "qcp-host: cannot write into %s: %s\n", path.c_str(), error.message().c_str());
    return false;
}

void PrintVideo(const CaptureStats::Summary& summary, double elapsed, const FrameRecorder& recorder,
                const CaptureOptions& options) {
    std::printf("frames: %llu in %.2f s (%.1f per second), no-feed frames: %llu\n", (unsigned long long)summary.frames,
                elapsed, summary.frames / elapsed, (unsigned long long)summary.noFeed);
    for (const auto& [size, count] : summary.sizes)
        std::printf("  %u x %u: %llu frames\n", size.first, size.second, (unsigned long long)count);
    if (recorder.dropped() > 0)
        std::printf("dropped by the recorder: %llu frames (this host fell behind; the plug-in delivered them)\n",
                    (unsigned long long)recorder.dropped());
    std::printf("interval: mean %.2f ms, worst %.2f ms", summary.meanIntervalMs, summary.worstIntervalMs);
    if (summary.latencySamples > 0)
        std::printf("; capture to callback: mean %.2f ms, worst %.2f ms\n", summary.meanLatencyMs,
                    summary.worstLatencyMs);
    else
        std::printf("; capture to callback: no time stamps\n");
    std::printf("PNG frames: %zu in %s\n", recorder.pngFiles().size(), options.output.c_str());
}

} // namespace

int CaptureCommand(PluginLibrary& plugin, const std::vector<std::string>& args) {
    CaptureOptions options;
    std::string error;
    if (!CaptureOptions::Parse(args, options, error)) {
        // The command line was checked before the plug-in was loaded.
        std::fprintf(stderr, "qcp-host: %s\n", error.c_str());
        return 2;
    }
    if (options.screen()) {
        if (const int refused = CheckScreen(plugin, options)) return refused;
    }
    if (!OutputFolder(options.output)) return 1;

    std::optional<AudioRecorder> audio;
    if (options.audio) {
        audio.emplace(options.output + "/audio.wav");
        if (!audio->Start(error)) {
            std::fprintf(stderr, "qcp-host: %s\n", error.c_str());
            return 1;
        }
    }
    const StopSignals stop;
    // The sound first: starting it takes a while, and the video's time then
    // begins with sound already flowing.
    if (audio)
        plugin.QCP_RegisterAudioDataArrivedCallback(QCP_AUDIO_DEVICE_ID, nullptr, &AudioRecorder::Arrived, &*audio);
    std::optional<FrameRecorder> recorder;
    Session session;
    session.plugin = &plugin;
    session.start = CaptureStats::NowMicros();
    const char* source = "qcp-host capture";
    if (options.screen()) {
        recorder.emplace(FrameRecorder::Options{options.output, options.pngInterval, options.video, 60});
        session.recorder = &*recorder;
        plugin.QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, source);
        plugin.QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, source, &Session::Arrived, &session);
        ApplySettings(plugin, source, options.Settings());
    }
    const auto videoNow = [&]() -> std::optional<CaptureStats::Summary> {
        if (!recorder) return std::nullopt;
        return session.stats.Snapshot();
    };
    const auto droppedFrames = [&] { return recorder ? recorder->dropped() : 0; };

    Progress progress;
    double elapsed = 0;
    // Woken often only to count frames; otherwise for the progress line, the
    // end or a signal, so that the host costs the capture next to nothing.
    const auto interval = std::chrono::milliseconds(options.frames ? 20 : 250);
    while (elapsed < options.seconds && !stop.received()) {
        const auto remaining = std::chrono::milliseconds(int64_t(std::ceil((options.seconds - elapsed) * 1000)));
        stop.WaitFor(std::min(interval, remaining));
        elapsed = session.SecondsSince(CaptureStats::NowMicros());
        const std::optional<CaptureStats::Summary> now = videoNow();
        progress.Tick(elapsed, now, droppedFrames(), audio ? &*audio : nullptr);
        if (now && options.frames && now->frames >= options.frames) break;
    }
    elapsed = session.SecondsSince(CaptureStats::NowMicros());
    if (stop.received()) {
        progress.Close();
        std::fprintf(stderr, "qcp-host: %s: ending the capture and writing what was recorded\n", stop.name());
    }
    if (recorder) {
        // Frames still arriving are refused from here: the video ends now,
        // or with a frame stamped a moment later.
        elapsed = recorder->Finish(elapsed);
        plugin.QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, source);
    }
    if (audio) {
        // No call follows the clearing, so the recorder may finish. Sound
        // past the video's end is cut when the two are put together.
        plugin.QCP_RegisterAudioDataArrivedCallback(QCP_AUDIO_DEVICE_ID, nullptr, &AudioRecorder::Arrived, nullptr);
        audio->Finish();
    }

    const std::optional<CaptureStats::Summary> summary = videoNow();
    progress.Show(elapsed, summary, droppedFrames(), audio ? &*audio : nullptr);
    progress.Close();
    std::string failure;
    const auto fail = [&](const std::string& reason) { failure += (failure.empty() ? "" : "; ") + reason; };
    const std::string video = recorder ? recorder->videoFile() : "";
    if (!video.empty() && audio && audio->result().packets > 0 &&
        !MuxAudio(video, audio->path(), session.SecondsSince(uint64_t(audio->result().startMicros)),
                  recorder->videoSeconds(), error))
        fail("the sound could not be put into " + video + ": " + error);

    char seconds[96];
    std::snprintf(seconds, sizeof seconds, "{\n  \"seconds\": %.6f,\n  \"stopped_by\": ", elapsed);
    std::string json = seconds + (stop.received() ? "\"" + std::string(stop.name()) + "\"" : std::string("null"));
    if (summary) {
        PrintVideo(*summary, elapsed, *recorder, options);
        json += ",\n" + CaptureStats::JsonFields(*summary, elapsed, recorder->dropped());
        if (!video.empty()) {
            std::printf("video: %s (%.2f s%s)\n", video.c_str(), recorder->videoSeconds(),
                        audio && failure.empty() ? ", with the sound" : "");
            char videoJson[64];
            std::snprintf(videoJson, sizeof videoJson, ",\n  \"video_seconds\": %.6f", recorder->videoSeconds());
            json += videoJson;
        } else if (options.video) {
            const std::string problem = recorder->videoProblem().empty() ? "no frames" : recorder->videoProblem();
            std::printf("video: none (%s)\n", problem.c_str());
            // Without ffmpeg there is no video to make; any other reason is a failure.
            if (summary->frames > 0 && ChildProcess::Installed("ffmpeg")) fail("no video written: " + problem);
        }
    }
    if (audio) {
        std::fputs(AudioLines(*audio).c_str(), stdout);
        json += ",\n  \"audio\": " + AudioJson(*audio);
    }
    const std::string jsonFile = options.output + "/summary.json";
    if (std::ofstream(jsonFile) << json << "\n}\n")
        std::printf("summary: %s\n", jsonFile.c_str());
    else
        fail("cannot write " + jsonFile);

    if (summary && summary->frames == 0) failure = "no video arrived";
    if (audio && !AudioFailure(*audio).empty()) fail(AudioFailure(*audio));
    if (failure.empty()) return 0;
    std::fprintf(stderr, "qcp-host: %s\n", failure.c_str());
    return 1;
}

} // namespace qcphost

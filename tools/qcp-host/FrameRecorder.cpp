#include "FrameRecorder.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "PngWriter.h"

namespace qcphost {

FrameRecorder::FrameRecorder(Options options) : fOptions(std::move(options)), fFree(kBuffers) {
    fWriter = std::thread([this] { Run(); });
}

FrameRecorder::~FrameRecorder() {
    double end = 0;
    {
        std::lock_guard lock(fMutex);
        end = fLastSeconds;
    }
    Finish(end);
}

void FrameRecorder::Offer(const uint8_t* pixels, uint32_t width, uint32_t height, uint32_t bytesPerRow,
                          double seconds) {
    Frame frame;
    {
        std::lock_guard lock(fMutex);
        const bool png = fOptions.pngInterval > 0 && seconds >= fNextPng;
        const bool video = fOptions.video && (fVideoWidth == 0 || (width == fVideoWidth && height == fVideoHeight));
        if (fFinishing || (!png && !video)) return;
        if (fFree.empty()) {
            ++fDropped;
            return;
        }
        if (png) fNextPng = seconds + fOptions.pngInterval;
        if (video && fVideoWidth == 0) {
            fVideoWidth = width;
            fVideoHeight = height;
        }
        fLastSeconds = std::max(fLastSeconds, seconds);
        frame = std::move(fFree.back());
        fFree.pop_back();
        frame.png = png;
        frame.video = video;
    }
    // The copy happens outside the lock; buffers keep their capacity.
    frame.pixels.resize(size_t(width) * height * 4);
    for (uint32_t y = 0; y < height; ++y)
        std::memcpy(frame.pixels.data() + size_t(y) * width * 4, pixels + size_t(y) * bytesPerRow, size_t(width) * 4);
    frame.width = width;
    frame.height = height;
    frame.seconds = seconds;
    {
        std::lock_guard lock(fMutex);
        fFull.push_back(std::move(frame));
    }
    fWake.notify_one();
}

double FrameRecorder::Finish(double endSeconds) {
    double end = 0;
    {
        std::lock_guard lock(fMutex);
        if (!fFinishing) fLastSeconds = std::max(fLastSeconds, endSeconds);
        fFinishing = true;
        end = fLastSeconds;
    }
    fWake.notify_one();
    if (fWriter.joinable()) fWriter.join();
    return end;
}

void FrameRecorder::Run() {
    std::unique_lock lock(fMutex);
    for (;;) {
        fWake.wait(lock, [this] { return fFinishing || !fFull.empty(); });
        if (fFull.empty()) break;
        Frame frame = std::move(fFull.front());
        fFull.pop_front();
        lock.unlock();
        Write(frame);
        lock.lock();
        fFree.push_back(std::move(frame));
    }
    const double end = fLastSeconds;
    lock.unlock();
    EndVideo(end);
}

void FrameRecorder::Write(Frame& frame) {
    if (frame.png) WritePngFile(frame);
    if (!frame.video) return;
    const uint64_t repeats = fTimeline.Arrive(frame.seconds);
    if (fHeld) {
        WriteVideo(*fHeld, repeats);
        std::swap(frame, *fHeld); // the frame shown until now goes back to the free buffers
    } else {
        fHeld = std::move(frame);
    }
}

void FrameRecorder::WritePngFile(const Frame& frame) {
    char name[64];
    std::snprintf(name, sizeof name, "/frame-%06.2fs.png", frame.seconds);
    const std::string path = fOptions.directory + name;
    // Under another name until whole, so that no reader sees half a file.
    const std::string partial = path + ".part";
    std::error_code error;
    if (WritePng(partial, frame.pixels.data(), frame.width, frame.height) &&
        (std::filesystem::rename(partial, path, error), !error)) {
        std::lock_guard lock(fMutex);
        fPngFiles.push_back(path);
    } else {
        std::filesystem::remove(partial, error);
    }
}

bool FrameRecorder::StartVideo(uint32_t width, uint32_t height) {
    if (!ChildProcess::Installed("ffmpeg")) {
        Fail("ffmpeg is not installed");
        return false;
    }
    const std::string rate = std::to_string(int(fOptions.frameRate));
    // The fastest preset: on two cores the slower ones fall behind 60 frames
    // a second of 1080p, and every frame they cannot take is dropped.
    std::string error;
    fEncoder.emplace();
    if (!fEncoder->Start({"ffmpeg", "-hide_banner", "-loglevel", "error", "-y", "-f", "rawvideo", "-pix_fmt", "bgra",
                          "-s", std::to_string(width) + "x" + std::to_string(height), "-framerate", rate, "-i", "-",
                          "-vf", "pad=ceil(iw/2)*2:ceil(ih/2)*2", "-c:v", "libx264", "-preset", "ultrafast",
                          "-pix_fmt", "yuv420p", "-r", rate, fOptions.directory + "/capture.mp4"},
                         true, error)) {
        fEncoder.reset();
        Fail(error);
        return false;
    }
    return true;
}

void FrameRecorder::WriteVideo(const Frame& frame, uint64_t times) {
    if (times == 0) return;
    if (!fEncoder) {
        std::lock_guard lock(fMutex);
        if (!fVideoProblem.empty()) return;
    }
    if (!fEncoder && !StartVideo(frame.width, frame.height)) return;
    for (uint64_t i = 0; i < times; ++i) {
        if (fEncoder->Write(frame.pixels.data(), frame.pixels.size())) continue;
        std::string reason;
        fEncoder->Finish(reason);
        fEncoder.reset();
        Fail("ffmpeg stopped reading frames: " + reason);
        return;
    }
}

void FrameRecorder::EndVideo(double endSeconds) {
    if (fHeld) WriteVideo(*fHeld, fTimeline.End(endSeconds));
    if (!fEncoder) return;
    std::string reason;
    const bool written = fEncoder->Finish(reason);
    fEncoder.reset();
    if (!written) {
        Fail("ffmpeg failed: " + reason);
        return;
    }
    std::lock_guard lock(fMutex);
    fVideoFile = fOptions.directory + "/capture.mp4";
    fVideoSeconds = fTimeline.seconds();
}

void FrameRecorder::Fail(std::string problem) {
    std::error_code ignored;
    std::filesystem::remove(fOptions.directory + "/capture.mp4", ignored);
    std::lock_guard lock(fMutex);
    if (fVideoProblem.empty()) fVideoProblem = std::move(problem);
}

uint64_t FrameRecorder::dropped() const {
    std::lock_guard lock(fMutex);
    return fDropped;
}

std::vector<std::string> FrameRecorder::pngFiles() const {
    std::lock_guard lock(fMutex);
    return fPngFiles;
}

std::string FrameRecorder::videoFile() const {
    std::lock_guard lock(fMutex);
    return fVideoFile;
}

std::string FrameRecorder::videoProblem() const {
    std::lock_guard lock(fMutex);
    return fVideoProblem;
}

double FrameRecorder::videoSeconds() const {
    std::lock_guard lock(fMutex);
    return fVideoSeconds;
}

} // namespace qcphost

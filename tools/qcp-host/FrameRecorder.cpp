#include "FrameRecorder.h"

#include <cstring>

#include "PngWriter.h"

namespace qcphost {

FrameRecorder::FrameRecorder(Options options) : fOptions(std::move(options)), fFree(kBuffers) {
    fWriter = std::thread([this] { Run(); });
}

FrameRecorder::~FrameRecorder() { Finish(); }

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
        if (fVideoWidth == 0 && fOptions.video) {
            fVideoWidth = width;
            fVideoHeight = height;
        }
        frame = std::move(fFree.back());
        fFree.pop_back();
        frame.png = png;
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

void FrameRecorder::Finish() {
    {
        std::lock_guard lock(fMutex);
        fFinishing = true;
    }
    fWake.notify_one();
    if (fWriter.joinable()) fWriter.join();
    if (fVideo) {
        pclose(fVideo);
        fVideo = nullptr;
    }
}

void FrameRecorder::Run() {
    std::unique_lock lock(fMutex);
    for (;;) {
        fWake.wait(lock, [this] { return fFinishing || !fFull.empty(); });
        if (fFull.empty()) return;
        Frame frame = std::move(fFull.front());
        fFull.pop_front();
        lock.unlock();
        Write(frame);
        lock.lock();
        fFree.push_back(std::move(frame));
    }
}

bool FrameRecorder::StartVideo(uint32_t width, uint32_t height) {
    if (std::system("command -v ffmpeg >/dev/null 2>&1") != 0) {
        fVideoProblem = "ffmpeg is not installed";
        return false;
    }
    const std::string path = fOptions.directory + "/capture.mp4";
    const std::string command = "ffmpeg -loglevel error -y -f rawvideo -pix_fmt bgra -s " + std::to_string(width) +
                                "x" + std::to_string(height) + " -r " + std::to_string(int(fOptions.frameRate)) +
                                " -i - -vf 'pad=ceil(iw/2)*2:ceil(ih/2)*2' -c:v libx264 -preset veryfast -pix_fmt yuv420p '" + path +
                                "'";
    fVideo = popen(command.c_str(), "w");
    if (!fVideo) {
        fVideoProblem = "ffmpeg could not be started";
        return false;
    }
    fVideoFile = path;
    return true;
}

void FrameRecorder::Write(const Frame& frame) {
    if (frame.png) {
        char name[64];
        std::snprintf(name, sizeof name, "/frame-%06.2fs.png", frame.seconds);
        const std::string path = fOptions.directory + name;
        if (WritePng(path, frame.pixels.data(), frame.width, frame.height)) {
            std::lock_guard lock(fMutex);
            fPngFiles.push_back(path);
        }
    }
    if (!fOptions.video || frame.width != fVideoWidth || frame.height != fVideoHeight) return;
    if (!fVideo && fVideoProblem.empty() && !StartVideo(frame.width, frame.height)) return;
    if (fVideo && std::fwrite(frame.pixels.data(), 1, frame.pixels.size(), fVideo) != frame.pixels.size()) {
        pclose(fVideo);
        fVideo = nullptr;
        fVideoFile.clear();
        fVideoProblem = "ffmpeg stopped reading frames";
    }
}

uint64_t FrameRecorder::dropped() const {
    std::lock_guard lock(fMutex);
    return fDropped;
}

std::vector<std::string> FrameRecorder::pngFiles() const {
    std::lock_guard lock(fMutex);
    return fPngFiles;
}

std::string FrameRecorder::videoFile() const { return fVideoFile; }
std::string FrameRecorder::videoProblem() const { return fVideoProblem; }

} // namespace qcphost

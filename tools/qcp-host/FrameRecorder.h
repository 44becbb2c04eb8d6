#pragma once
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace qcphost {

// Writes what a capture delivered: sampled frames as PNG files and, when
// ffmpeg is installed, every frame of the first size seen into an MP4. The
// capture threads only copy a frame into a free buffer; a writer thread of
// its own does the slow work. When every buffer is busy the frame is
// dropped, and counted.
class FrameRecorder {
public:
    struct Options {
        std::string directory;
        double pngInterval = 1.0; // seconds between PNG samples; 0: none
        bool video = true;
        double frameRate = 60;
    };

    explicit FrameRecorder(Options options);
    ~FrameRecorder(); // finishes writing

    // From the capture thread: one frame of BGRA pixels.
    void Offer(const uint8_t* pixels, uint32_t width, uint32_t height, uint32_t bytesPerRow, double seconds);
    void Finish();

    uint64_t dropped() const;
    std::vector<std::string> pngFiles() const;
    std::string videoFile() const; // empty when no video was written
    std::string videoProblem() const;

private:
    struct Frame {
        std::vector<uint8_t> pixels; // tightly packed rows
        uint32_t width = 0, height = 0;
        double seconds = 0;
        bool png = false;
    };
    static constexpr size_t kBuffers = 8;

    void Run();
    void Write(const Frame& frame);
    bool StartVideo(uint32_t width, uint32_t height);

    const Options fOptions;
    mutable std::mutex fMutex;
    std::condition_variable fWake;
    std::deque<Frame> fFull;
    std::vector<Frame> fFree;
    bool fFinishing = false;
    uint64_t fDropped = 0;
    double fNextPng = 0;
    std::vector<std::string> fPngFiles;
    FILE* fVideo = nullptr;
    uint32_t fVideoWidth = 0, fVideoHeight = 0;
    std::string fVideoFile;
    std::string fVideoProblem;
    std::thread fWriter;
};

} // namespace qcphost

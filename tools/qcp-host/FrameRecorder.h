#pragma once
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "FrameTimeline.h"

namespace qcphost {

// Writes what a capture delivered: sampled frames as PNG files and, when
// ffmpeg is installed, the frames of the first size seen as an MP4 in true
// time (each frame shown from its capture time until the next one's, at a
// constant rate, so the video lasts as long as the capture).
//
// Offer runs on the plug-in's delivery threads and only copies the frame
// into a free buffer; the recorder's own writer thread does the slow work.
// When every buffer is busy the frame is dropped and counted: the recorder
// fell behind, not the plug-in, and the frame before it stays on screen
// longer. Finish is called once no more frames can be offered; the getters
// may be called from any thread.
class FrameRecorder {
public:
    struct Options {
        std::string directory;
        double pngInterval = 1.0; // seconds between PNG samples; 0: none
        bool video = true;
        double frameRate = 60;
    };

    explicit FrameRecorder(Options options);
    ~FrameRecorder(); // finishes at the last frame's time
    FrameRecorder(const FrameRecorder&) = delete;
    FrameRecorder& operator=(const FrameRecorder&) = delete;

    // One frame of BGRA pixels, captured `seconds` after the capture began.
    void Offer(const uint8_t* pixels, uint32_t width, uint32_t height, uint32_t bytesPerRow, double seconds);
    // Refuses further frames, writes what is queued and ends the video at
    // `endSeconds` after the start, or at the latest frame's time when one
    // came later. Returns that end; later calls return it again.
    double Finish(double endSeconds);

    uint64_t dropped() const;
    std::vector<std::string> pngFiles() const;
    std::string videoFile() const;      // empty unless a video was written whole
    std::string videoProblem() const;   // why there is none
    double videoSeconds() const;        // how long the video plays

private:
    struct Frame {
        std::vector<uint8_t> pixels; // tightly packed rows
        uint32_t width = 0, height = 0;
        double seconds = 0;
        bool png = false;
        bool video = false;
    };
    static constexpr size_t kBuffers = 8;

    void Run();
    void Write(Frame& frame);
    void WritePngFile(const Frame& frame);
    bool StartVideo(uint32_t width, uint32_t height);
    void WriteVideo(const Frame& frame, uint64_t times);
    void EndVideo(double endSeconds);
    void Fail(std::string problem);

    const Options fOptions;
    mutable std::mutex fMutex;
    std::condition_variable fWake;
    std::deque<Frame> fFull;
    std::vector<Frame> fFree;
    bool fFinishing = false;
    uint64_t fDropped = 0;
    double fNextPng = 0;
    double fLastSeconds = 0;
    uint32_t fVideoWidth = 0, fVideoHeight = 0;
    std::vector<std::string> fPngFiles;
    std::string fVideoFile, fVideoProblem;
    double fVideoSeconds = 0;

    // The writer thread's own.
    std::optional<Frame> fHeld; // the video's latest frame, not written yet
    FrameTimeline fTimeline{fOptions.frameRate};
    std::optional<ChildProcess> fEncoder;
    std::thread fWriter;
};

} // namespace qcphost

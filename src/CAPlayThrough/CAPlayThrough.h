#pragma once
#include <AudioToolbox/AudioToolbox.h>
#include <CoreAudio/CoreAudio.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "AudioDevice.h"

class CARingBuffer;

// Copies one device's input to another device's output in real time: a HAL
// input unit records the input into a ring addressed by sample time, and a
// graph of a varispeed unit feeding the default output unit plays it from
// there, delayed by both devices' safety offsets and buffer sizes, at the
// rate the two devices' clocks differ by.
//
// Made, started, stopped and destroyed by its owner (CAPlayThroughHost), one
// call at a time, on any thread. InputProc runs on the input device's I/O
// thread and OutputProc on the output device's; neither allocates, locks or
// logs (but for failures of its own platform calls, printed). Setup failures
// print "CAPlayThrough Error: ..." with the step's line to standard output
// and leave the object unusable but safe to start, stop and destroy.
class CAPlayThrough {
public:
    // A device id of 0 is the system's default input or output device.
    CAPlayThrough(AudioDeviceID input, AudioDeviceID output);
    ~CAPlayThrough();
    CAPlayThrough(const CAPlayThrough&) = delete;
    CAPlayThrough& operator=(const CAPlayThrough&) = delete;

    OSStatus Init(AudioDeviceID input, AudioDeviceID output);
    // Stops, then releases every unit and buffer; safe to repeat.
    void Cleanup();

    OSStatus Start();
    OSStatus Stop();
    // True while either side runs. A failing query answers its status's low
    // byte, so a failure mostly reads as running.
    bool IsRunning();

    AudioDeviceID GetInputDeviceID() const { return fInputDevice.mID; }
    AudioDeviceID GetOutputDeviceID() const { return fOutputDevice.mID; }
    // Both devices' safety offsets and buffer sizes, in frames.
    double ThruOffset() const;

    // For watching the play-through from any thread: soft resets since
    // construction (each re-anchors the output to the newest input), and how
    // far the last output read lagged the newest stored input, in input
    // frames.
    uint32_t SoftResets() const { return fSoftResets.load(std::memory_order_relaxed); }
    int64_t LastReadLag() const { return fLastReadLag.load(std::memory_order_relaxed); }

    static OSStatus InputProc(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                              UInt32 bus, UInt32 frames, AudioBufferList* data);
    static OSStatus OutputProc(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                               UInt32 bus, UInt32 frames, AudioBufferList* data);

private:
    OSStatus SetupAUHAL(AudioDeviceID input);
    OSStatus EnableIO();
    OSStatus SetInputDeviceAsCurrent(AudioDeviceID input);
    OSStatus CallbackSetup();
    OSStatus SetupGraph(AudioDeviceID output);
    OSStatus MakeGraph();
    OSStatus SetOutputDeviceAsCurrent(AudioDeviceID output);
    OSStatus SetupBuffers();
    // Clears the time anchors, the rate and the counters for a new run.
    void ResetRun();
    // The real-time threads only count soft resets; this thread writes them
    // to the system log, away from them.
    void ReportSoftResets();

    AudioUnit fInputUnit = nullptr;
    AudioBufferList* fInputBuffer = nullptr;
    AudioDevice fInputDevice;
    AudioDevice fOutputDevice;
    CARingBuffer* fBuffer = nullptr;
    double fRate = 0; // output thread
    AUGraph fGraph = nullptr;
    AUNode fVarispeedNode = 0;
    AudioUnit fVarispeedUnit = nullptr;
    AUNode fOutputNode = 0;
    AudioUnit fOutputUnit = nullptr;
    // The anchors both callbacks read and write; atomic so that the races
    // between the two threads stay well defined.
    std::atomic<double> fFirstInputTime{-1};
    std::atomic<double> fLatestInputTime{-1};
    std::atomic<double> fFirstOutputTime{-1};
    std::atomic<double> fInToOutSampleOffset{0};
    std::atomic<double> fExtraReadOffset{0};
    std::atomic<SInt32> fInputCallbacks{0};
    std::atomic<SInt32> fOutputCallbacks{0};

    std::atomic<uint32_t> fSoftResets{0};
    std::atomic<int64_t> fLastReadLag{0};
    std::mutex fReporterMutex;
    std::condition_variable fReporterWake;
    bool fReporterClosing = false;
    std::thread fReporter; // last: started once the rest is ready
};

#pragma once
#include <pulse/stream.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "AudioBuffers.h"
#include "CoreAudio/AudioHardware.h"
#include "DeviceIOProcs.h"
#include "PulseConnection.h"
#include "PulseFrameRing.h"

namespace qcp::coreaudio::pulse {

// The server object a device's I/O runs on, as it was when I/O first began.
struct PulseDeviceIOSetup {
    bool input = false;  // a source, recorded from; else a sink, played to
    uint32_t index = 0;  // the server's
    UInt32 channels = 0; // interleaved float32 at `rate`
    Float64 rate = 0;
    UInt32 frames = 0; // the buffer frame size
};

// One device's I/O: a stream on the layer's connection and the thread that
// calls the device's started procs once per cycle of buffer-frame-size
// frames, paced by the server. A source's cycle comes when a period has been
// recorded (the stream asks for fragments of one period); a sink's when the
// period rendered last has been taken by the server (the stream keeps two
// periods queued, the ring one more ready), so the procs are pulled at the
// sink's own clock. The connection loop's thread moves the data between the
// stream and a lock-free ring in the stream's callbacks.
//
// Made by the layer for a device's first StartDeviceIO, on any thread but the
// connection loop's, and kept until the layer goes. Start, Stop, Configure
// and CurrentTime may be called from any thread, Start and Stop also from a
// proc. The thread makes the stream when the device begins to run and ends
// it when no proc is left; while the stream cannot be made or has failed
// (the device or the server went away) no cycle runs until the next Start,
// or until the layer revives it when the server is back.
// Procs run under the object's mutex, which only Start and Stop take, never
// under the connection loop's lock; nothing on the thread allocates once
// running.
//
// Times: a cycle's sample time counts the frames moved through the stream,
// its host time is when the cycle began on the zTime clock; the input was
// recorded over the period before, the output plays a period after. The
// rate scalar is 1: the server's clock is not measured against the host's.
class PulseDeviceIO {
public:
    PulseDeviceIO(PulseConnection& connection, AudioObjectID device, const PulseDeviceIOSetup& setup);
    ~PulseDeviceIO();
    PulseDeviceIO(const PulseDeviceIO&) = delete;
    PulseDeviceIO& operator=(const PulseDeviceIO&) = delete;

    void Start(AudioDeviceIOProc proc, void* clientData);
    // From another thread: returns once the proc is not running. From a
    // proc of this device: the proc is not called again.
    void Stop(AudioDeviceIOProc proc, void* clientData);
    // A new buffer frame size, from the next cycle on.
    void Configure(UInt32 frames);
    // The server came back: until Revive, no stream is made (the index the
    // device had means nothing to the new server).
    void Hold();
    // The device is there again as the server's `index`: a stream that
    // failed is made again.
    void Revive(uint32_t index);
    // Where the device's clock is now; false while no stream is up.
    bool CurrentTime(AudioTimeStamp& time) const;

    static constexpr UInt32 kMaxFrames = 4096; // the most a device's buffer frame size may be

private:
    void Run();
    bool Live() const; // fMutex held
    bool OnThisThread() const;
    // Waits for a proc to run, and after a failure for another Start or a
    // Revive; the device's server index then, none when closing.
    std::optional<uint32_t> AwaitProcs(bool failed);
    void SetRunning(bool running);
    // With the loop's lock held.
    bool Connect(uint32_t index);
    void Disconnect();
    bool Usable() const;
    // Move one period between the ring and the buffers, waiting for the
    // stream; false when it failed or the object is closing.
    bool Record(UInt32 frames);
    bool AwaitRoom(UInt32 frames);
    bool Play(UInt32 frames);
    // With the loop's lock held: hands the server what the ring has of the
    // `bytes` it wants.
    void Feed(pa_stream* stream, size_t bytes);
    size_t FrameBytes() const;
    // Calls the procs: fMutex held.
    void Cycle(UInt32 frames);
    AudioTimeStamp TimeAt(Float64 sample, int64_t micros) const;
    // The stream's callbacks wake this device's thread alone: the
    // connection loop's signal would wake every waiter on the connection.
    void Notify();
    void AwaitStream();
    // The loop's thread moves the stream's data, so that the I/O thread
    // never wakes it: a source's into the ring, a sink's out of it.
    static void OnStream(pa_stream* stream, void* self);
    static void OnRecorded(pa_stream* stream, size_t bytes, void* self);
    static void OnWanted(pa_stream* stream, size_t bytes, void* self);

    PulseConnection& fConnection;
    const AudioObjectID fDevice;
    const PulseDeviceIOSetup fSetup;
    std::atomic<UInt32> fFrames;
    std::atomic<bool> fClosing{false};

    std::mutex fMutex;
    std::condition_variable fWake;
    DeviceIOProcs fProcs;
    // A failed stream is made again after a Start or Revive the thread has
    // not seen yet, however late it waits for one.
    uint64_t fNews = 0;     // Start and Revive calls so far
    uint64_t fSeenNews = 0; // as the thread last woke
    uint32_t fIndex;        // the server's, of the device; none while held

    // The clock, apart so that a proc may read any device's time while
    // another device's procs run.
    mutable std::mutex fClockMutex;
    bool fRunning = false;    // a stream is up
    Float64 fSample = 0;      // the last cycle's
    int64_t fCycleMicros = 0; // when it began, or when the stream came up

    std::mutex fNewsMutex;
    std::condition_variable fStreamChanged;
    bool fStreamNews = false; // under fNewsMutex: data, room or state since the thread last looked

    // Recorded frames to the I/O thread, or rendered ones to the server.
    PulseFrameRing fRing;
    std::atomic<bool> fStreamUp{false};
    std::atomic<bool> fOwed{false}; // the server wants more than the ring had

    // The I/O thread's own.
    pa_stream* fStream = nullptr; // with the loop's lock
    OwnedBufferList fInput;
    OwnedBufferList fMix;
    OwnedBufferList fScratch;
    std::thread fThread; // last: it uses all of the above
};

} // namespace qcp::coreaudio::pulse

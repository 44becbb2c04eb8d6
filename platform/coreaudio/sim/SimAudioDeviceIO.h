#pragma once
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "AudioBuffers.h"
#include "CoreAudio/AudioHardware.h"
#include "DeviceIOProcs.h"
#include "SimAudioDeviceSetup.h"
#include "SimAudioRing.h"

namespace qcp::coreaudio::sim {

// Where a device's input comes from and where its output goes: both
// optional. The capture driver's two devices share one ring.
struct SimAudioRouting {
    std::shared_ptr<SimAudioRing> input;  // read into the input each cycle
    std::shared_ptr<SimAudioRing> output; // the mixed output is written here
};

// One device's clock and I/O thread. While it has started procs the thread
// runs a cycle every buffer-frame-size frames at the device's rate times its
// clock rate, on the zTime clock, catching up on cycles a jump of the clock
// skipped: it fills the input, hands it with a silent output buffer to each
// proc in turn, mixes what they wrote and sends the mix on. Procs run under
// the device's own mutex, which only Start and Stop take.
class SimAudioDeviceIO {
public:
    SimAudioDeviceIO(AudioObjectID device, const SimAudioDeviceSetup& setup, SimAudioRouting routing);
    // Stops the thread, waiting for a cycle in progress.
    ~SimAudioDeviceIO();
    SimAudioDeviceIO(const SimAudioDeviceIO&) = delete;
    SimAudioDeviceIO& operator=(const SimAudioDeviceIO&) = delete;

    void Start(AudioDeviceIOProc proc, void* clientData);
    // From another thread: returns once the proc is not running. From a
    // proc of this device: the proc is not called again.
    void Stop(AudioDeviceIOProc proc, void* clientData);
    // A new rate or buffer size, from the next cycle on.
    void Configure(Float64 rate, UInt32 frames);
    // Cycles run so far.
    uint64_t Cycles() const;
    // Where the clock is now; false while no proc runs.
    bool CurrentTime(AudioTimeStamp& time) const;

private:
    void Run();
    // Lock held.
    void Cycle();
    AudioTimeStamp TimeOf(uint64_t cycle) const;
    bool OnThisThread() const;
    // Lock held.
    bool Live() const;
    // Counts cycles from `origin` on, the device's sample time carrying on.
    void Rebase(int64_t origin);

    const AudioObjectID fDevice;
    const Float64 fClockRate;
    const SimAudioRouting fRouting;
    mutable std::mutex fMutex;
    std::condition_variable fWake;
    bool fClosing = false;
    DeviceIOProcs fProcs;
    Float64 fRate;
    UInt32 fFrames;
    // The clock of the current run: cycles counted from `fOrigin`, which is
    // at sample `fOriginSample` of the device's time line.
    int64_t fOrigin = 0;
    Float64 fOriginSample = 0;
    uint64_t fCycle = 0;
    uint64_t fCycles = 0;
    OwnedBufferList fInput;
    OwnedBufferList fMix;
    OwnedBufferList fScratch;
    std::thread fThread; // last: started once the rest is ready
};

} // namespace qcp::coreaudio::sim

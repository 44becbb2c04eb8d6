#include "SimAudioDeviceIO.h"

#include <algorithm>
#include <cmath>

#include "zTime.h"

namespace qcp::coreaudio::sim {
namespace {
// The device whose I/O thread this is, so that a proc stopping itself does
// not wait for itself.
thread_local const SimAudioDeviceIO* tDeviceIO = nullptr;
} // namespace

SimAudioDeviceIO::SimAudioDeviceIO(AudioObjectID device, const SimAudioDeviceSetup& setup, SimAudioRouting routing)
    : fDevice(device), fClockRate(setup.clockRate > 0 ? setup.clockRate : 1), fRouting(std::move(routing)),
      fRate(setup.nominalRate), fFrames(setup.bufferFrameSize) {
    fInput.Allocate(setup.inputStreams, setup.maxBufferFrameSize);
    fMix.Allocate(setup.outputStreams, setup.maxBufferFrameSize);
    fScratch.Allocate(setup.outputStreams, setup.maxBufferFrameSize);
    fThread = std::thread([this] { Run(); });
}

SimAudioDeviceIO::~SimAudioDeviceIO() {
    {
        std::lock_guard lock(fMutex);
        fClosing = true;
    }
    fWake.notify_all();
    if (OnThisThread())
        fThread.detach();
    else
        fThread.join();
}

bool SimAudioDeviceIO::OnThisThread() const { return tDeviceIO == this; }

bool SimAudioDeviceIO::Live() const { return fProcs.Live(); }

void SimAudioDeviceIO::Rebase(int64_t origin) {
    fOriginSample += Float64(fCycle) * fFrames;
    fOrigin = origin;
    fCycle = 0;
}

void SimAudioDeviceIO::Start(AudioDeviceIOProc proc, void* clientData) {
    std::unique_lock lock(fMutex, std::defer_lock);
    if (!OnThisThread()) lock.lock();
    if (!Live()) {
        // The device starts running: its first cycle is one period from now.
        Rebase(zTime::MicroNow());
    }
    fProcs.Start(proc, clientData);
    fWake.notify_all();
}

void SimAudioDeviceIO::Stop(AudioDeviceIOProc proc, void* clientData) {
    std::unique_lock lock(fMutex, std::defer_lock);
    if (!OnThisThread()) lock.lock();
    fProcs.Stop(proc, clientData);
    fWake.notify_all();
}

void SimAudioDeviceIO::Configure(Float64 rate, UInt32 frames) {
    std::unique_lock lock(fMutex, std::defer_lock);
    if (!OnThisThread()) lock.lock();
    // The next cycle counts from the last one.
    Rebase(static_cast<int64_t>(TimeOf(fCycle).mHostTime / 1000));
    fRate = rate;
    fFrames = std::clamp<UInt32>(frames, 1, fInput.Capacity());
}

uint64_t SimAudioDeviceIO::Cycles() const {
    std::unique_lock lock(fMutex, std::defer_lock);
    if (!OnThisThread()) lock.lock();
    return fCycles;
}

bool SimAudioDeviceIO::CurrentTime(AudioTimeStamp& time) const {
    std::unique_lock lock(fMutex, std::defer_lock);
    if (!OnThisThread()) lock.lock();
    if (!Live()) return false;
    const int64_t now = zTime::MicroNow();
    time = TimeOf(0);
    time.mSampleTime += Float64(now - fOrigin) * fRate * fClockRate / 1e6;
    time.mHostTime = static_cast<UInt64>(now) * 1000;
    return true;
}

AudioTimeStamp SimAudioDeviceIO::TimeOf(uint64_t cycle) const {
    AudioTimeStamp time{};
    time.mSampleTime = fOriginSample + Float64(cycle) * fFrames;
    const Float64 micros = Float64(cycle) * fFrames * 1e6 / (fRate * fClockRate);
    time.mHostTime = static_cast<UInt64>(fOrigin + std::llround(micros)) * 1000;
    time.mRateScalar = fClockRate;
    time.mFlags = kAudioTimeStampSampleHostTimeValid | kAudioTimeStampRateScalarValid;
    return time;
}

void SimAudioDeviceIO::Run() {
    tDeviceIO = this;
    std::unique_lock lock(fMutex);
    while (!fClosing) {
        if (!Live()) {
            // Not running; the next Start sets the clock going again.
            fWake.wait(lock);
            continue;
        }
        const int64_t deadline = static_cast<int64_t>(TimeOf(fCycle + 1).mHostTime / 1000);
        if (zTime::WaitUntil(fWake, lock, deadline, [this] { return fClosing || !Live(); })) continue;
        ++fCycle;
        ++fCycles;
        Cycle();
    }
}

void SimAudioDeviceIO::Cycle() {
    const UInt32 frames = fFrames;
    AudioBufferList& input = fInput.Prepare(frames);
    if (fRouting.input)
        fRouting.input->Read(input, frames);
    else
        Silence(input, frames);
    AudioBufferList& mix = fMix.Prepare(frames);
    fProcs.Call(fDevice, {TimeOf(fCycle), TimeOf(fCycle - 1), TimeOf(fCycle + 1)}, input, fScratch, mix, frames);
    if (fRouting.output) fRouting.output->Write(mix, frames);
}

} // namespace qcp::coreaudio::sim

#include "CAPlayThrough.h"

#include <syslog.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "CARingBuffer.h"
#include "zTime.h"

namespace {

constexpr const char* kSourcePath = "src/CAPlayThrough/CAPlayThrough";
// How often the soft resets the output counted are written out.
constexpr int64_t kReportPeriodMicros = 250'000;

// Prints a failed step with the line that names it; the status either way.
OSStatus Checked(OSStatus status, int line) {
    if (status != noErr) {
        std::printf("CAPlayThrough Error: %ld ->  %s:  %d\n", static_cast<long>(status), kSourcePath, line);
        std::fflush(stdout);
    }
    return status;
}

AudioObjectPropertyAddress GlobalAddress(AudioObjectPropertySelector selector) {
    return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}

void Silence(AudioBufferList* data) {
    for (UInt32 i = 0; i < data->mNumberBuffers; ++i) {
        if (data->mBuffers[i].mData) std::memset(data->mBuffers[i].mData, 0, data->mBuffers[i].mDataByteSize);
    }
}

} // namespace

CAPlayThrough::CAPlayThrough(AudioDeviceID input, AudioDeviceID output) {
    if (Init(input, output) != noErr) {
        std::fputs("CAPlayThrough ERROR: Cannot Init CAPlayThrough", stderr);
        std::fflush(stderr);
    }
    fReporter = std::thread([this] { ReportSoftResets(); });
}

CAPlayThrough::~CAPlayThrough() { Cleanup(); }

OSStatus CAPlayThrough::Init(AudioDeviceID input, AudioDeviceID output) {
    if (const OSStatus status = Checked(SetupAUHAL(input), 163)) return status;
    if (const OSStatus status = Checked(SetupGraph(output), 167)) return status;
    if (const OSStatus status = Checked(SetupBuffers(), 170)) return status;
    if (const OSStatus status = Checked(AUGraphConnectNodeInput(fGraph, fVarispeedNode, 0, fOutputNode, 0), 174))
        return status;
    if (const OSStatus status = Checked(AUGraphInitialize(fGraph), 177)) return status;
    fInToOutSampleOffset = ThruOffset();
    return noErr;
}

double CAPlayThrough::ThruOffset() const {
    return static_cast<double>(static_cast<SInt32>(fInputDevice.mSafetyOffset + fInputDevice.mBufferSizeFrames +
                                                   fOutputDevice.mSafetyOffset + fOutputDevice.mBufferSizeFrames));
}

OSStatus CAPlayThrough::SetupAUHAL(AudioDeviceID input) {
    const AudioComponentDescription description{kAudioUnitType_Output, kAudioUnitSubType_HALOutput,
                                                kAudioUnitManufacturer_Apple, 0, 0};
    AudioComponent component = AudioComponentFindNext(nullptr, &description);
    // No way on without the HAL unit; every system has one.
    if (!component) std::exit(-1);
    if (const OSStatus status = Checked(AudioComponentInstanceNew(component, &fInputUnit), 454)) return status;
    if (const OSStatus status = Checked(AudioUnitInitialize(fInputUnit), 458)) return status;
    if (const OSStatus status = Checked(EnableIO(), 461)) return status;
    if (const OSStatus status = Checked(SetInputDeviceAsCurrent(input), 464)) return status;
    if (const OSStatus status = Checked(CallbackSetup(), 467)) return status;
    return AudioUnitInitialize(fInputUnit);
}

OSStatus CAPlayThrough::EnableIO() {
    UInt32 enable = 1;
    if (const OSStatus status = Checked(AudioUnitSetProperty(fInputUnit, kAudioOutputUnitProperty_EnableIO,
                                                             kAudioUnitScope_Input, 1, &enable, sizeof enable),
                                        495))
        return status;
    enable = 0;
    return AudioUnitSetProperty(fInputUnit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Output, 0, &enable,
                                sizeof enable);
}

OSStatus CAPlayThrough::SetInputDeviceAsCurrent(AudioDeviceID input) {
    if (input == kAudioObjectUnknown) {
        UInt32 size = sizeof input;
        const AudioObjectPropertyAddress address = GlobalAddress(kAudioHardwarePropertyDefaultInputDevice);
        if (const OSStatus status =
                Checked(AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &input), 322))
            return status;
    }
    fInputDevice.Init(input, true);
    return Checked(AudioUnitSetProperty(fInputUnit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0,
                                        &fInputDevice.mID, sizeof fInputDevice.mID),
                   336);
}

OSStatus CAPlayThrough::SetOutputDeviceAsCurrent(AudioDeviceID output) {
    if (output == kAudioObjectUnknown) {
        UInt32 size = sizeof output;
        const AudioObjectPropertyAddress address = GlobalAddress(kAudioHardwarePropertyDefaultOutputDevice);
        if (const OSStatus status = Checked(
                AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &output), 293))
            return status;
    }
    fOutputDevice.Init(output, false);
    return AudioUnitSetProperty(fOutputUnit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0,
                                &fOutputDevice.mID, sizeof fOutputDevice.mID);
}

OSStatus CAPlayThrough::CallbackSetup() {
    const AURenderCallbackStruct callback{&InputProc, this};
    return Checked(AudioUnitSetProperty(fInputUnit, kAudioOutputUnitProperty_SetInputCallback, kAudioUnitScope_Global,
                                        0, &callback, sizeof callback),
                   523);
}

OSStatus CAPlayThrough::SetupGraph(AudioDeviceID output) {
    if (const OSStatus status = Checked(NewAUGraph(&fGraph), 349)) return status;
    if (const OSStatus status = Checked(AUGraphOpen(fGraph), 353)) return status;
    if (const OSStatus status = Checked(MakeGraph(), 356)) return status;
    if (const OSStatus status = Checked(SetOutputDeviceAsCurrent(output), 359)) return status;
    // Sample-rate changes must not restart the output's time line.
    const UInt32 atZero = 0;
    if (const OSStatus status = Checked(AudioUnitSetProperty(fOutputUnit, kAudioOutputUnitProperty_StartTimestampsAtZero,
                                                             kAudioUnitScope_Global, 0, &atZero, sizeof atZero),
                                        370))
        return status;
    const AURenderCallbackStruct callback{&OutputProc, this};
    return Checked(AudioUnitSetProperty(fVarispeedUnit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0,
                                        &callback, sizeof callback),
                   381);
}

OSStatus CAPlayThrough::MakeGraph() {
    const AudioComponentDescription varispeed{kAudioUnitType_FormatConverter, kAudioUnitSubType_Varispeed,
                                              kAudioUnitManufacturer_Apple, 0, 0};
    const AudioComponentDescription output{kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput,
                                           kAudioUnitManufacturer_Apple, 0, 0};
    if (const OSStatus status = Checked(AUGraphAddNode(fGraph, &varispeed, &fVarispeedNode), 411)) return status;
    if (const OSStatus status = Checked(AUGraphAddNode(fGraph, &output, &fOutputNode), 413)) return status;
    if (const OSStatus status = Checked(AUGraphNodeInfo(fGraph, fVarispeedNode, nullptr, &fVarispeedUnit), 417))
        return status;
    return Checked(AUGraphNodeInfo(fGraph, fOutputNode, nullptr, &fOutputUnit), 419);
}

OSStatus CAPlayThrough::SetupBuffers() {
    UInt32 bufferFrames = 0;
    UInt32 size = sizeof bufferFrames;
    if (const OSStatus status = Checked(AudioUnitGetProperty(fInputUnit, kAudioDevicePropertyBufferFrameSize,
                                                             kAudioUnitScope_Global, 0, &bufferFrames, &size),
                                        539))
        return status;

    AudioStreamBasicDescription inputDeviceFormat{}, clientFormat{}, outputDeviceFormat{};
    size = sizeof inputDeviceFormat;
    if (const OSStatus status = Checked(AudioUnitGetProperty(fInputUnit, kAudioUnitProperty_StreamFormat,
                                                             kAudioUnitScope_Input, 1, &inputDeviceFormat, &size),
                                        545))
        return status;
    size = sizeof clientFormat;
    if (const OSStatus status = Checked(AudioUnitGetProperty(fInputUnit, kAudioUnitProperty_StreamFormat,
                                                             kAudioUnitScope_Output, 1, &clientFormat, &size),
                                        552))
        return status;
    size = sizeof outputDeviceFormat;
    if (const OSStatus status = Checked(AudioUnitGetProperty(fOutputUnit, kAudioUnitProperty_StreamFormat,
                                                             kAudioUnitScope_Output, 0, &outputDeviceFormat, &size),
                                        559))
        return status;

    clientFormat.mChannelsPerFrame = std::min(inputDeviceFormat.mChannelsPerFrame,
                                              outputDeviceFormat.mChannelsPerFrame);

    Float64 rate = 0;
    size = sizeof rate;
    const AudioObjectPropertyAddress nominalRate = GlobalAddress(kAudioDevicePropertyNominalSampleRate);
    if (const OSStatus status =
            Checked(AudioObjectGetPropertyData(fInputDevice.mID, &nominalRate, 0, nullptr, &size, &rate), 580))
        return status;
    clientFormat.mSampleRate = rate;
    size = sizeof clientFormat;
    if (const OSStatus status = Checked(AudioUnitSetProperty(fInputUnit, kAudioUnitProperty_StreamFormat,
                                                             kAudioUnitScope_Output, 1, &clientFormat, size),
                                        587))
        return status;
    if (const OSStatus status = Checked(AudioUnitSetProperty(fVarispeedUnit, kAudioUnitProperty_StreamFormat,
                                                             kAudioUnitScope_Input, 0, &clientFormat, size),
                                        589))
        return status;

    size = sizeof rate;
    if (const OSStatus status =
            Checked(AudioObjectGetPropertyData(fOutputDevice.mID, &nominalRate, 0, nullptr, &size, &rate), 595))
        return status;
    clientFormat.mSampleRate = rate;
    size = sizeof clientFormat;
    if (const OSStatus status = Checked(AudioUnitSetProperty(fVarispeedUnit, kAudioUnitProperty_StreamFormat,
                                                             kAudioUnitScope_Output, 0, &clientFormat, size),
                                        602))
        return status;
    if (const OSStatus status = Checked(AudioUnitSetProperty(fOutputUnit, kAudioUnitProperty_StreamFormat,
                                                             kAudioUnitScope_Input, 0, &clientFormat, size),
                                        604))
        return status;

    // One mono buffer per channel, each room for a device buffer.
    const UInt32 channels = clientFormat.mChannelsPerFrame;
    const size_t listSize = offsetof(AudioBufferList, mBuffers) + sizeof(AudioBuffer) * std::max<UInt32>(channels, 1);
    fInputBuffer = static_cast<AudioBufferList*>(std::calloc(1, listSize));
    if (!fInputBuffer) return kAudio_MemFullError;
    fInputBuffer->mNumberBuffers = channels;
    for (UInt32 i = 0; i < channels; ++i) {
        fInputBuffer->mBuffers[i].mNumberChannels = 1;
        fInputBuffer->mBuffers[i].mDataByteSize = bufferFrames * sizeof(Float32);
        fInputBuffer->mBuffers[i].mData = std::calloc(bufferFrames, sizeof(Float32));
        if (!fInputBuffer->mBuffers[i].mData) return kAudio_MemFullError;
    }

    // Twenty device buffers of history.
    fBuffer = new CARingBuffer();
    fBuffer->Allocate(static_cast<int>(channels), clientFormat.mBytesPerFrame, bufferFrames * 20);
    return noErr;
}

void CAPlayThrough::ResetRun() {
    fFirstInputTime = -1;
    fLatestInputTime.exchange(-1);
    fFirstOutputTime = -1;
    fRate = 0;
    fExtraReadOffset = 0;
    fInputCallbacks = 0;
    fOutputCallbacks = 0;
}

OSStatus CAPlayThrough::Start() {
    if (IsRunning()) return noErr;
    if (const OSStatus status = Checked(AudioOutputUnitStart(fInputUnit), 213)) return status;
    if (const OSStatus status = Checked(AUGraphStart(fGraph), 216)) return status;
    ResetRun();
    return noErr;
}

OSStatus CAPlayThrough::Stop() {
    if (!IsRunning()) return noErr;
    if (const OSStatus status = Checked(AudioOutputUnitStop(fInputUnit), 236)) return status;
    if (const OSStatus status = Checked(AUGraphStop(fGraph), 239)) return status;
    ResetRun();
    return noErr;
}

bool CAPlayThrough::IsRunning() {
    UInt32 inputRunning = 0;
    if (fInputUnit) {
        UInt32 size = sizeof inputRunning;
        if (const OSStatus status = Checked(AudioUnitGetProperty(fInputUnit, kAudioOutputUnitProperty_IsRunning,
                                                                 kAudioUnitScope_Global, 0, &inputRunning, &size),
                                            266))
            return static_cast<UInt8>(status) != 0;
    }
    Boolean graphRunning = false;
    if (fGraph) {
        if (const OSStatus status = Checked(AUGraphIsRunning(fGraph, &graphRunning), 271))
            return static_cast<UInt8>(status) != 0;
    }
    return inputRunning || graphRunning;
}

void CAPlayThrough::Cleanup() {
    Stop();
    {
        std::lock_guard lock(fReporterMutex);
        fReporterClosing = true;
    }
    fReporterWake.notify_all();
    if (fReporter.joinable()) fReporter.join();

    delete fBuffer;
    fBuffer = nullptr;
    if (fInputBuffer) {
        for (UInt32 i = 0; i < fInputBuffer->mNumberBuffers; ++i) std::free(fInputBuffer->mBuffers[i].mData);
        std::free(fInputBuffer);
        fInputBuffer = nullptr;
    }
    if (fInputUnit) {
        AudioUnitUninitialize(fInputUnit);
        AudioComponentInstanceDispose(fInputUnit);
        fInputUnit = nullptr;
    }
    if (fGraph) {
        AUGraphClose(fGraph);
        DisposeAUGraph(fGraph);
        fGraph = nullptr;
        fVarispeedUnit = nullptr;
        fOutputUnit = nullptr;
    }
}

void CAPlayThrough::ReportSoftResets() {
    uint32_t reported = 0;
    std::unique_lock lock(fReporterMutex);
    for (;;) {
        const bool closing = zTime::WaitUntil(fReporterWake, lock, zTime::MicroNow() + kReportPeriodMicros,
                                              [this] { return fReporterClosing; });
        for (const uint32_t resets = SoftResets(); reported != resets; ++reported)
            syslog(LOG_NOTICE, "%s", "CAPlayThrough : Soft Reset");
        if (closing) return;
    }
}

OSStatus CAPlayThrough::InputProc(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                                  UInt32 bus, UInt32 frames, AudioBufferList*) {
    auto& self = *static_cast<CAPlayThrough*>(refCon);
    // The first callback of a run, and any before the output has run, only
    // count: there is nowhere yet to play what they bring.
    if (self.fInputCallbacks.fetch_add(1) < 1 || self.fOutputCallbacks.load() < 1) return noErr;

    const double sampleTime = time->mSampleTime;
    if (self.fFirstInputTime.load() < 0) self.fFirstInputTime = sampleTime;
    self.fLatestInputTime.exchange(sampleTime);

    if (const OSStatus status = Checked(AudioUnitRender(self.fInputUnit, flags, time, bus, frames, self.fInputBuffer),
                                        661))
        return status;
    return static_cast<OSStatus>(
        self.fBuffer->Store(self.fInputBuffer, frames, static_cast<SInt64>(sampleTime)));
}

OSStatus CAPlayThrough::OutputProc(void* refCon, AudioUnitRenderActionFlags*, const AudioTimeStamp* time, UInt32,
                                   UInt32 frames, AudioBufferList* data) {
    auto& self = *static_cast<CAPlayThrough*>(refCon);
    if (self.fInputCallbacks.load() <= 0 || self.fOutputCallbacks.fetch_add(1) <= 0 ||
        self.fFirstInputTime.load() < 0) {
        Silence(data);
        return noErr;
    }

    // Measured once a run: the clocks' ratio barely moves.
    if (self.fRate == 0) {
        AudioTimeStamp inputTime{}, outputTime{};
        // The input may have stopped just now.
        if (AudioDeviceGetCurrentTime(self.fInputDevice.mID, &inputTime) != noErr) {
            Silence(data);
            return noErr;
        }
        if (AudioDeviceGetCurrentTime(self.fOutputDevice.mID, &outputTime) == noErr)
            self.fRate = inputTime.mRateScalar / outputTime.mRateScalar;
    }
    const auto rate = static_cast<AudioUnitParameterValue>(self.fRate != 0 ? self.fRate : 1.0);
    if (const OSStatus status = Checked(AudioUnitSetParameter(self.fVarispeedUnit, kVarispeedParam_PlaybackRate,
                                                              kAudioUnitScope_Global, 0, rate, 0),
                                        720))
        return status;

    const double outputTime = time->mSampleTime;
    SInt64 start = static_cast<SInt64>(outputTime - self.fInToOutSampleOffset + self.fExtraReadOffset);
    SInt64 end = start + frames;
    const SInt64 wantedStart = start, wantedEnd = end;
    const bool clipped = self.fBuffer->ClipTimeBounds(start, end) == kCARingBufferError_OK;
    const bool softReset = clipped && (start != wantedStart || end != wantedEnd);
    double anchor = 0;
    if (softReset) {
        self.fFirstInputTime = self.fLatestInputTime.load();
        self.fFirstOutputTime = -1;
        anchor = self.fLatestInputTime.load();
    }
    const bool firstOutput = !softReset && self.fFirstOutputTime.load() < 0;
    if (firstOutput) anchor = self.fFirstInputTime.load();
    if (softReset || firstOutput) {
        self.fFirstOutputTime = outputTime;
        self.fInToOutSampleOffset = outputTime - anchor + self.ThruOffset();
        if (firstOutput) {
            Silence(data);
            return noErr;
        }
        self.fSoftResets.fetch_add(1, std::memory_order_relaxed);
    }

    const SInt64 readStart = static_cast<SInt64>(outputTime - self.fInToOutSampleOffset + self.fExtraReadOffset);
    SInt64 bufferedStart = 0, bufferedEnd = 0;
    if (self.fBuffer->GetTimeBounds(bufferedStart, bufferedEnd) == kCARingBufferError_OK)
        self.fLastReadLag.store(bufferedEnd - readStart, std::memory_order_relaxed);
    if (self.fBuffer->Fetch(data, frames, readStart) != kCARingBufferError_OK) Silence(data);
    return noErr;
}

#include "VarispeedUnit.h"

#include <samplerate.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "AudioFormats.h"

namespace qcp::coreaudio {
namespace {

constexpr Float32 kMinRate = 0.25f;
constexpr Float32 kMaxRate = 4.0f;

Float32 CentsOf(Float32 rate) { return 1200.0f * std::log2(rate); }
Float32 RateOf(Float32 cents) { return std::exp2(cents / 1200.0f); }

} // namespace

void VarispeedUnit::ResamplerDeleter::operator()(SRC_STATE_tag* state) const { src_delete(state); }

VarispeedUnit::VarispeedUnit()
    : fInputFormat(FloatFormat(44100, 2, false)), fOutputFormat(FloatFormat(44100, 2, false)) {}

VarispeedUnit::~VarispeedUnit() = default;

OSStatus VarispeedUnit::Initialize() {
    std::lock_guard lock(fMutex);
    if (fInitialized) return noErr;
    const UInt32 channels = fInputFormat.mChannelsPerFrame;
    const double ratio = fOutputFormat.mSampleRate / fInputFormat.mSampleRate;
    if (channels != fOutputFormat.mChannelsPerFrame || !src_is_valid_ratio(ratio / kMinRate) ||
        !src_is_valid_ratio(ratio / kMaxRate))
        return kAudioUnitErr_FormatNotSupported;
    int error = 0;
    fResampler.reset(src_callback_new(&Pull, SRC_SINC_FASTEST, static_cast<int>(channels), &error, this));
    if (!fResampler) return kAudioUnitErr_FailedInitialization;
    fPulled.Allocate(BufferLayout(channels, IsInterleaved(fInputFormat)), fMaxFrames);
    fInterleaved.Allocate({channels}, fMaxFrames);
    fResampled.Allocate({channels}, fMaxFrames);
    fOwnOutput.Allocate(BufferLayout(channels, IsInterleaved(fOutputFormat)), fMaxFrames);
    fInputTimeKnown = false;
    fInitialized = true;
    return noErr;
}

OSStatus VarispeedUnit::Uninitialize() {
    std::lock_guard lock(fMutex);
    fInitialized = false;
    fResampler.reset();
    return noErr;
}

AudioStreamBasicDescription* VarispeedUnit::Format(AudioUnitScope scope) {
    return scope == kAudioUnitScope_Input ? &fInputFormat : &fOutputFormat;
}

OSStatus VarispeedUnit::Locate(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                               UInt32& size, bool& writable) const {
    switch (id) {
    case kAudioUnitProperty_StreamFormat:
    case kAudioUnitProperty_SampleRate:
        if (scope != kAudioUnitScope_Input && scope != kAudioUnitScope_Output) return kAudioUnitErr_InvalidScope;
        if (element != 0) return kAudioUnitErr_InvalidElement;
        size = id == kAudioUnitProperty_SampleRate ? sizeof(Float64) : sizeof(AudioStreamBasicDescription);
        writable = true;
        return noErr;
    case kAudioUnitProperty_MaximumFramesPerSlice:
        if (scope != kAudioUnitScope_Global) return kAudioUnitErr_InvalidScope;
        size = sizeof(UInt32);
        writable = true;
        return noErr;
    case kAudioUnitProperty_SetRenderCallback:
        if (scope != kAudioUnitScope_Input) return kAudioUnitErr_InvalidScope;
        if (element != 0) return kAudioUnitErr_InvalidElement;
        size = sizeof(AURenderCallbackStruct);
        writable = true;
        return noErr;
    default:
        return kAudioUnitErr_InvalidProperty;
    }
}

OSStatus VarispeedUnit::Read(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement, PropertyOut& out) {
    switch (id) {
    case kAudioUnitProperty_StreamFormat:
        return out.Put(*Format(scope));
    case kAudioUnitProperty_SampleRate:
        return out.Put(Format(scope)->mSampleRate);
    case kAudioUnitProperty_MaximumFramesPerSlice:
        return out.Put(fMaxFrames);
    default: // the render callback can only be set
        return kAudioUnitErr_InvalidProperty;
    }
}

OSStatus VarispeedUnit::Write(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement, const void* data,
                              UInt32) {
    if (fInitialized) return kAudioUnitErr_Initialized;
    switch (id) {
    case kAudioUnitProperty_StreamFormat: {
        AudioStreamBasicDescription format;
        std::memcpy(&format, data, sizeof format);
        if (!IsFloatFormat(format)) return kAudioUnitErr_FormatNotSupported;
        *Format(scope) = FloatFormat(format.mSampleRate, format.mChannelsPerFrame, IsInterleaved(format));
        return noErr;
    }
    case kAudioUnitProperty_SampleRate: {
        Float64 rate = 0;
        std::memcpy(&rate, data, sizeof rate);
        if (!(rate > 0)) return kAudioUnitErr_InvalidPropertyValue;
        Format(scope)->mSampleRate = rate;
        return noErr;
    }
    case kAudioUnitProperty_MaximumFramesPerSlice: {
        UInt32 frames = 0;
        std::memcpy(&frames, data, sizeof frames);
        if (frames == 0) return kAudioUnitErr_InvalidPropertyValue;
        fMaxFrames = frames;
        return noErr;
    }
    case kAudioUnitProperty_SetRenderCallback:
        std::memcpy(&fSource, data, sizeof fSource);
        return noErr;
    default:
        return kAudioUnitErr_InvalidProperty;
    }
}

OSStatus VarispeedUnit::GetParameter(AudioUnitParameterID id, AudioUnitScope scope, AudioUnitElement element,
                                     AudioUnitParameterValue& value) {
    if (scope != kAudioUnitScope_Global) return kAudioUnitErr_InvalidScope;
    if (element != 0) return kAudioUnitErr_InvalidElement;
    const Float32 rate = fRate.load(std::memory_order_relaxed);
    if (id == kVarispeedParam_PlaybackRate) value = rate;
    else if (id == kVarispeedParam_PlaybackCents) value = CentsOf(rate);
    else return kAudioUnitErr_InvalidParameter;
    return noErr;
}

OSStatus VarispeedUnit::SetParameter(AudioUnitParameterID id, AudioUnitScope scope, AudioUnitElement element,
                                     AudioUnitParameterValue value) {
    if (scope != kAudioUnitScope_Global) return kAudioUnitErr_InvalidScope;
    if (element != 0) return kAudioUnitErr_InvalidElement;
    if (!std::isfinite(value)) return kAudioUnitErr_InvalidParameter;
    Float32 rate;
    if (id == kVarispeedParam_PlaybackRate) rate = value;
    else if (id == kVarispeedParam_PlaybackCents) rate = RateOf(value);
    else return kAudioUnitErr_InvalidParameter;
    fRate.store(std::clamp(rate, kMinRate, kMaxRate), std::memory_order_relaxed);
    return noErr;
}

long VarispeedUnit::Pull(void* self, float** data) {
    auto& unit = *static_cast<VarispeedUnit*>(self);
    if (unit.fPullStatus != noErr) return 0;
    const UInt32 frames = unit.fPullFrames;
    AudioBufferList& pulled = unit.fPulled.Prepare(frames);
    const OSStatus status = unit.fSource.inputProc(unit.fSource.inputProcRefCon, unit.fRenderFlags, &unit.fInputTime,
                                                   0, frames, &pulled);
    if (status != noErr) {
        unit.fPullStatus = status;
        return 0;
    }
    unit.fInputTime.mSampleTime += frames;
    AudioBufferList& interleaved = unit.fInterleaved.Prepare(frames);
    CopyChannels(pulled, interleaved, frames);
    *data = static_cast<float*>(interleaved.mBuffers[0].mData);
    return frames;
}

OSStatus VarispeedUnit::Render(AudioUnitRenderActionFlags* flags, const AudioTimeStamp& time, UInt32 bus,
                               UInt32 frames, AudioBufferList& data) {
    if (!fInitialized.load(std::memory_order_acquire)) return kAudioUnitErr_Uninitialized;
    if (bus != 0) return kAudioUnitErr_InvalidElement;
    if (frames > fMaxFrames) return kAudioUnitErr_TooManyFramesToProcess;
    if (!fSource.inputProc) return kAudioUnitErr_NoConnection;
    if (data.mNumberBuffers > 0 && !data.mBuffers[0].mData) {
        const AudioBufferList& own = fOwnOutput.Prepare(frames);
        if (data.mNumberBuffers != own.mNumberBuffers) return kAudio_ParamError;
        for (UInt32 i = 0; i < own.mNumberBuffers; ++i) data.mBuffers[i] = own.mBuffers[i];
    }
    if (!fInputTimeKnown) {
        fInputTime = AudioTimeStamp{};
        fInputTime.mSampleTime = time.mSampleTime;
        fInputTime.mFlags = kAudioTimeStampSampleTimeValid;
        fInputTimeKnown = true;
    }
    // Output frames per input frame, as libsamplerate counts its ratio.
    const double ratio = fOutputFormat.mSampleRate / fInputFormat.mSampleRate /
                         double(fRate.load(std::memory_order_relaxed));
    fPullFrames = std::clamp<UInt32>(static_cast<UInt32>(std::ceil(frames / ratio)), 1, fMaxFrames);
    fPullStatus = noErr;
    fRenderFlags = flags;
    fInputTime.mHostTime = time.mHostTime;
    fInputTime.mFlags = kAudioTimeStampSampleTimeValid | (time.mFlags & kAudioTimeStampHostTimeValid);
    AudioBufferList& resampled = fResampled.Prepare(frames);
    const long made =
        src_callback_read(fResampler.get(), ratio, frames, static_cast<float*>(resampled.mBuffers[0].mData));
    if (fPullStatus != noErr || made != long{frames}) {
        // The input failed: this render is silence, and the next starts
        // afresh rather than from the resampler's flushed tail.
        src_reset(fResampler.get());
        Silence(data, frames);
        return fPullStatus != noErr ? fPullStatus : OSStatus{kAudioUnitErr_NoConnection};
    }
    CopyChannels(resampled, data, frames);
    return noErr;
}

} // namespace qcp::coreaudio

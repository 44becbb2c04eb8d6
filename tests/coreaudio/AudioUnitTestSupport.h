#pragma once
#include <gtest/gtest.h>

#include <AudioToolbox/AudioToolbox.h>
#include <CoreAudio/CoreAudio.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <thread>
#include <vector>

// Audio units as the capture chain drives them, and what tests measure of
// what they hear.
namespace coreaudio_test {

// A new unit of Apple's output `subType`, or null.
inline AudioUnit NewOutputUnit(OSType subType) {
    const AudioComponentDescription description{kAudioUnitType_Output, subType, kAudioUnitManufacturer_Apple, 0, 0};
    AudioComponent component = AudioComponentFindNext(nullptr, &description);
    AudioUnit unit = nullptr;
    if (!component || AudioComponentInstanceNew(component, &unit)) return nullptr;
    return unit;
}

inline OSStatus SetUInt32(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                          UInt32 value) {
    return AudioUnitSetProperty(unit, id, scope, element, &value, sizeof value);
}

inline OSStatus SetDevice(AudioUnit unit, AudioObjectID device) {
    return SetUInt32(unit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0, device);
}

inline OSStatus SetCallback(AudioUnit unit, AudioUnitPropertyID id, AURenderCallback proc, void* refCon) {
    const AURenderCallbackStruct callback{proc, refCon};
    const AudioUnitScope scope = id == kAudioUnitProperty_SetRenderCallback ? kAudioUnitScope_Input
                                                                             : kAudioUnitScope_Global;
    return AudioUnitSetProperty(unit, id, scope, 0, &callback, sizeof callback);
}

// Float32 linear PCM, interleaved or one channel per buffer.
inline AudioStreamBasicDescription FloatFormat(Float64 rate, UInt32 channels, bool interleaved) {
    AudioStreamBasicDescription format{};
    format.mSampleRate = rate;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags =
        kAudioFormatFlagsNativeFloatPacked | (interleaved ? 0U : UInt32{kAudioFormatFlagIsNonInterleaved});
    format.mFramesPerPacket = 1;
    format.mChannelsPerFrame = channels;
    format.mBitsPerChannel = 32;
    format.mBytesPerFrame = format.mBytesPerPacket = sizeof(Float32) * (interleaved ? channels : 1);
    return format;
}

// Asks a HAL unit for its input as one channel of float32 at `rate`.
inline OSStatus SetMonoInputFormat(AudioUnit unit, Float64 rate = 48000) {
    const AudioStreamBasicDescription format = FloatFormat(rate, 1, false);
    return AudioUnitSetProperty(unit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 1, &format,
                                sizeof format);
}

// What a unit's callbacks saw: how many, on which threads, at which sample
// times; and, for an input, the first channel of what AudioUnitRender gave
// (up to a capacity reserved up front, so the callback never allocates).
struct Heard {
    AudioUnit unit = nullptr;
    std::atomic<int> count{0};
    std::atomic<bool> afterStop{false};
    std::atomic<int> callsAfterStop{0};
    std::atomic<bool> stopInside{false};
    std::mutex mutex;
    std::vector<std::thread::id> threads;
    std::vector<Float64> sampleTimes;
    std::vector<UInt64> hostTimes;
    std::vector<Float32> input;
    std::atomic<OSStatus> renderStatus{noErr};

    Heard() {
        threads.reserve(4096);
        sampleTimes.reserve(4096);
        hostTimes.reserve(4096);
        input.reserve(4 * 48000);
    }
    void Note(const AudioTimeStamp* time) {
        if (afterStop) ++callsAfterStop;
        {
            std::lock_guard lock(mutex);
            if (threads.size() < threads.capacity()) {
                threads.push_back(std::this_thread::get_id());
                sampleTimes.push_back(time->mSampleTime);
                hostTimes.push_back(time->mHostTime);
            }
        }
        ++count;
        if (stopInside) AudioOutputUnitStop(unit);
    }

    static OSStatus Render(void* refCon, AudioUnitRenderActionFlags*, const AudioTimeStamp* time, UInt32, UInt32,
                           AudioBufferList*) {
        static_cast<Heard*>(refCon)->Note(time);
        return noErr;
    }
    // Fetches the input into buffers the unit supplies.
    static OSStatus Input(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time, UInt32 bus,
                          UInt32 frames, AudioBufferList*) {
        auto* heard = static_cast<Heard*>(refCon);
        AudioBufferList list{1, {{1, 0, nullptr}}};
        heard->renderStatus = AudioUnitRender(heard->unit, flags, time, bus, frames, &list);
        if (heard->renderStatus == noErr) {
            std::lock_guard lock(heard->mutex);
            const auto* samples = static_cast<const Float32*>(list.mBuffers[0].mData);
            const size_t room = heard->input.capacity() - heard->input.size();
            heard->input.insert(heard->input.end(), samples, samples + std::min<size_t>(frames, room));
        }
        heard->Note(time);
        return noErr;
    }
    std::vector<std::thread::id> Threads() {
        std::lock_guard lock(mutex);
        return threads;
    }
};

// An initialised HAL unit playing into `device` (or recording from it),
// reporting to `heard`; kept in `units` for disposal.
inline AudioUnit HALUnit(AudioObjectID device, Heard& heard, bool input, std::vector<AudioUnit>& units) {
    AudioUnit unit = NewOutputUnit(kAudioUnitSubType_HALOutput);
    units.push_back(unit);
    heard.unit = unit;
    EXPECT_EQ(SetDevice(unit, device), 0);
    if (input) {
        EXPECT_EQ(SetUInt32(unit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Output, 0, 0), 0);
        EXPECT_EQ(SetUInt32(unit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Input, 1, 1), 0);
        EXPECT_EQ(SetMonoInputFormat(unit), 0);
        EXPECT_EQ(SetCallback(unit, kAudioOutputUnitProperty_SetInputCallback, &Heard::Input, &heard), 0);
    } else {
        EXPECT_EQ(SetCallback(unit, kAudioUnitProperty_SetRenderCallback, &Heard::Render, &heard), 0);
    }
    EXPECT_EQ(AudioUnitInitialize(unit), 0);
    return unit;
}

// A sine on every channel of whatever it is asked for, checking that the
// time stamps it is given follow on from the frames it gave.
struct Sine {
    double frequency;
    double rate;
    double amplitude = 0.5;
    OSStatus status = noErr;
    uint64_t frames = 0;
    Float64 nextTime = -1;
    bool continuous = true;

    static OSStatus Render(void* refCon, AudioUnitRenderActionFlags*, const AudioTimeStamp* time, UInt32,
                           UInt32 frames, AudioBufferList* data) {
        auto& sine = *static_cast<Sine*>(refCon);
        if (sine.status != noErr) return sine.status;
        if (sine.nextTime >= 0 && time->mSampleTime != sine.nextTime) sine.continuous = false;
        sine.nextTime = time->mSampleTime + frames;
        for (UInt32 f = 0; f < frames; ++f) {
            const auto value =
                Float32(sine.amplitude * std::sin(2 * 3.141592653589793 * sine.frequency * double(sine.frames + f) / sine.rate));
            for (UInt32 b = 0; b < data->mNumberBuffers; ++b) {
                auto* samples = static_cast<Float32*>(data->mBuffers[b].mData);
                const UInt32 channels = data->mBuffers[b].mNumberChannels;
                for (UInt32 c = 0; c < channels; ++c) samples[f * channels + c] = value;
            }
        }
        sine.frames += frames;
        return noErr;
    }
};

// One channel out of interleaved samples.
inline std::vector<Float32> ChannelOf(const std::vector<Float32>& interleaved, size_t channels, size_t channel) {
    std::vector<Float32> samples;
    for (size_t i = channel; i < interleaved.size(); i += channels) samples.push_back(interleaved[i]);
    return samples;
}

inline Float32 Peak(const std::vector<Float32>& samples) {
    Float32 peak = 0;
    for (const Float32 sample : samples) peak = std::max(peak, std::fabs(sample));
    return peak;
}

// A sine's frequency from its rising zero crossings.
inline double Frequency(const std::vector<Float32>& samples, double rate) {
    std::vector<size_t> crossings;
    for (size_t i = 1; i < samples.size(); ++i) {
        if (samples[i - 1] < 0 && samples[i] >= 0) crossings.push_back(i);
    }
    if (crossings.size() < 2) return 0;
    return rate * double(crossings.size() - 1) / double(crossings.back() - crossings.front());
}

// A sine's frequency from the median period between its rising zero
// crossings, each placed between its two samples: a dropout spoils only the
// periods it falls in, where Frequency would count it against the whole span.
inline double SteadyFrequency(const std::vector<Float32>& samples, double rate) {
    std::vector<double> crossings, periods;
    for (size_t i = 1; i < samples.size(); ++i)
        if (samples[i - 1] < 0 && samples[i] >= 0)
            crossings.push_back(double(i - 1) + samples[i - 1] / (samples[i - 1] - samples[i]));
    for (size_t i = 1; i < crossings.size(); ++i) periods.push_back(crossings[i] - crossings[i - 1]);
    if (periods.empty()) return 0;
    std::nth_element(periods.begin(), periods.begin() + std::ptrdiff_t(periods.size() / 2), periods.end());
    return rate / periods[periods.size() / 2];
}

// -12 dBFS as a sample value.
inline double DbfsToLevel(double dbfs) { return std::pow(10.0, dbfs / 20); }

} // namespace coreaudio_test

#pragma once
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "AudioBuffers.h"
#include "AudioUnitInstance.h"

struct SRC_STATE_tag;

namespace qcp::coreaudio {

// The varispeed format converter: pulls float32 audio at its input rate from
// the render callback (or graph connection) on its input bus 0 and renders it
// at its output rate, played `PlaybackRate` times as fast. The two formats
// have the same channel count; either may be interleaved or not.
//
// The render callback is pulled on the thread that renders this unit, with
// time stamps on the input's time line: it starts at the first render's
// sample time and advances by the frames pulled. The playback rate may be
// changed from any thread, including inside the render callback; changes
// glide over one render. Rendering allocates nothing.
class VarispeedUnit final : public AudioUnitInstance {
public:
    VarispeedUnit();
    ~VarispeedUnit() override;

    OSStatus Initialize() override;
    OSStatus Uninitialize() override;
    OSStatus GetParameter(AudioUnitParameterID id, AudioUnitScope scope, AudioUnitElement element,
                          AudioUnitParameterValue& value) override;
    OSStatus SetParameter(AudioUnitParameterID id, AudioUnitScope scope, AudioUnitElement element,
                          AudioUnitParameterValue value) override;
    OSStatus Render(AudioUnitRenderActionFlags* flags, const AudioTimeStamp& time, UInt32 bus, UInt32 frames,
                    AudioBufferList& data) override;

private:
    struct ResamplerDeleter {
        void operator()(SRC_STATE_tag* state) const;
    };
    OSStatus Locate(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, UInt32& size,
                    bool& writable) const override;
    OSStatus Read(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, PropertyOut& out) override;
    OSStatus Write(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, const void* data,
                   UInt32 size) override;
    AudioStreamBasicDescription* Format(AudioUnitScope scope);
    // The resampler's input callback: renders the next input into fPulled and
    // hands it over interleaved.
    static long Pull(void* self, float** data);

    AudioStreamBasicDescription fInputFormat;
    AudioStreamBasicDescription fOutputFormat;
    UInt32 fMaxFrames = 4096;
    AURenderCallbackStruct fSource{};
    std::atomic<Float32> fRate{1.0f};
    std::atomic<bool> fInitialized{false};
    // Set by Initialize, used by Render alone.
    std::unique_ptr<SRC_STATE_tag, ResamplerDeleter> fResampler;
    OwnedBufferList fPulled;      // the input format
    OwnedBufferList fInterleaved; // the input, interleaved for the resampler
    OwnedBufferList fResampled;   // the output, interleaved
    OwnedBufferList fOwnOutput;   // the output format, for callers without buffers
    // The render in progress, for Pull.
    AudioTimeStamp fInputTime{};
    bool fInputTimeKnown = false;
    UInt32 fPullFrames = 0;
    OSStatus fPullStatus = noErr;
    AudioUnitRenderActionFlags* fRenderFlags = nullptr;
};

} // namespace qcp::coreaudio

#pragma once
#include <atomic>
#include <memory>
#include <mutex>

#include "AudioBuffers.h"
#include "AudioToolbox/AudioConverter.h"
#include "AudioUnitInstance.h"
#include "CoreAudio/AudioHardware.h"

namespace qcp::coreaudio {

// The HAL output unit: element 0 plays what its render callback gives into
// the current device, element 1 (when enabled) hands the device's input to
// AudioUnitRender inside its input callback. The default output unit plays
// into the default output as it is when the unit is initialised, unless a
// current device was set. It runs on the installed layer's device I/O.
//
// Client formats are float32 or signed 16-bit at the device's rate,
// interleaved or not, with any channel count (channels matched by position).
// Until a client format is set it follows the current device. The device's
// buffer frame size is read and written through the unit, as on the device.
//
// Until given a current device, a unit plays to the default output. An
// initialised unit whose configuration changes initialises itself again, and
// stays uninitialised when the new configuration cannot be.
//
// Configuration calls come from any thread and are refused while running;
// the callbacks and AudioUnitRender run on the device's I/O thread and
// allocate nothing.
class HALOutputUnit final : public AudioUnitInstance {
public:
    explicit HALOutputUnit(bool defaultOutput);
    ~HALOutputUnit() override;

    OSStatus Initialize() override;
    OSStatus Uninitialize() override;
    bool IsOutput() const override { return true; }
    OSStatus Start() override;
    OSStatus Stop() override;
    OSStatus Render(AudioUnitRenderActionFlags* flags, const AudioTimeStamp& time, UInt32 bus, UInt32 frames,
                    AudioBufferList& data) override;

private:
    struct ConverterDeleter {
        void operator()(OpaqueAudioConverter* converter) const { AudioConverterDispose(converter); }
    };
    using Converter = std::unique_ptr<OpaqueAudioConverter, ConverterDeleter>;

    // Lock held.
    OSStatus InitializeLocked();
    // Sets a property found settable; lock held.
    OSStatus Apply(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, const void* data,
                   UInt32 size);
    OSStatus Locate(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, UInt32& size,
                    bool& writable) const override;
    OSStatus Read(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, PropertyOut& out) override;
    OSStatus Write(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, const void* data,
                   UInt32 size) override;
    // The client-side format of a bus, or null for a device side.
    AudioStreamBasicDescription* ClientFormat(AudioUnitScope scope, AudioUnitElement element);
    AudioStreamBasicDescription DeviceFormat(AudioUnitScope scope) const;
    // The device the unit plays to or records from; unknown when none.
    AudioObjectID TargetDevice() const;
    // Client formats never set take the device's rate and channels.
    OSStatus FollowDevice(AudioObjectID device);
    void Cycle(const AudioBufferList* input, const AudioTimeStamp& inputTime, AudioBufferList* output,
               const AudioTimeStamp& outputTime);
    static OSStatus IOProc(AudioObjectID device, const AudioTimeStamp* now, const AudioBufferList* input,
                           const AudioTimeStamp* inputTime, AudioBufferList* output,
                           const AudioTimeStamp* outputTime, void* clientData);

    const bool fDefaultOutput;
    AudioObjectID fDevice = kAudioObjectUnknown;
    bool fDeviceSet = false;
    bool fOutputEnabled = true;
    bool fInputEnabled = false;
    AudioStreamBasicDescription fOutputClient; // input scope, element 0
    AudioStreamBasicDescription fInputClient;  // output scope, element 1
    bool fOutputClientSet = false;
    bool fInputClientSet = false;
    UInt32 fMaxFrames = 4096;
    bool fAllocateInput = true;
    bool fTimestampsAtZero = true;
    AURenderCallbackStruct fRenderCallback{};
    AURenderCallbackStruct fInputCallback{};
    // Set by Initialize.
    bool fInitialized = false;
    AudioObjectID fActiveDevice = kAudioObjectUnknown;
    Float64 fDeviceRate = 0;
    UInt32 fDeviceInputChannels = 0;
    UInt32 fDeviceOutputChannels = 0;
    OwnedBufferList fRenderBuffers; // the output client's format
    OwnedBufferList fInputBuffers;  // the input client's format
    // Float32 in the client's layout, and its conversion, for 16-bit clients.
    OwnedBufferList fRenderFloat;
    OwnedBufferList fInputFloat;
    Converter fRenderConverter;
    Converter fInputConverter;
    std::atomic<bool> fRunning{false};
    // The device's sample time at the first cycle of a run, when time stamps
    // start at zero; negative until that cycle. I/O thread only once running.
    Float64 fSampleOrigin = -1;
    // The device's input during an input callback, for AudioUnitRender.
    std::atomic<const AudioBufferList*> fCycleInput{nullptr};
    std::atomic<UInt32> fCycleFrames{0};
};

} // namespace qcp::coreaudio

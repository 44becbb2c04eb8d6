#pragma once
#include <atomic>
#include <mutex>

#include "AudioBuffers.h"
#include "AudioToolbox/AudioUnit.h"
#include "CoreAudio/AudioHardware.h"

namespace qcp::coreaudio {

// The HAL output unit: element 0 plays what its render callback gives into
// the current device, element 1 (when enabled) hands the device's input to
// AudioUnitRender inside its input callback. The default output unit is one
// whose device is the default output when it is initialised. It runs on the
// installed layer's device I/O; client formats are float32 at the device's
// rate, interleaved or not, with any channel count.
//
// Configuration calls come from any thread and are refused while running;
// the callbacks and AudioUnitRender run on the device's I/O thread.
class HALOutputUnit {
public:
    explicit HALOutputUnit(bool defaultOutput);
    ~HALOutputUnit();
    HALOutputUnit(const HALOutputUnit&) = delete;
    HALOutputUnit& operator=(const HALOutputUnit&) = delete;

    OSStatus Initialize();
    OSStatus Uninitialize();
    OSStatus Start();
    OSStatus Stop();
    OSStatus GetPropertyInfo(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, UInt32& size,
                             bool& writable);
    OSStatus GetProperty(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, void* data,
                         UInt32& size);
    OSStatus SetProperty(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, const void* data,
                         UInt32 size);
    OSStatus Render(AudioUnitRenderActionFlags* flags, const AudioTimeStamp& time, UInt32 bus, UInt32 frames,
                    AudioBufferList& data);

private:
    // Where a property lives: its size, or an error for a bad scope/element.
    OSStatus Locate(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element, UInt32& size,
                    bool& writable) const;
    // The client-side format of a bus, or the device side's.
    AudioStreamBasicDescription* ClientFormat(AudioUnitScope scope, AudioUnitElement element);
    AudioStreamBasicDescription DeviceFormat(AudioUnitScope scope) const;
    void Cycle(const AudioBufferList* input, const AudioTimeStamp& inputTime, AudioBufferList* output,
               const AudioTimeStamp& outputTime);
    static OSStatus IOProc(AudioObjectID device, const AudioTimeStamp* now, const AudioBufferList* input,
                           const AudioTimeStamp* inputTime, AudioBufferList* output,
                           const AudioTimeStamp* outputTime, void* clientData);

    const bool fDefaultOutput;
    std::mutex fMutex; // the configuration calls, one at a time
    AudioObjectID fDevice = kAudioObjectUnknown;
    bool fOutputEnabled = true;
    bool fInputEnabled = false;
    AudioStreamBasicDescription fOutputClient; // input scope, element 0
    AudioStreamBasicDescription fInputClient;  // output scope, element 1
    bool fOutputClientSet = false;
    bool fInputClientSet = false;
    UInt32 fMaxFrames = 4096;
    bool fAllocateInput = true;
    AURenderCallbackStruct fRenderCallback{};
    AURenderCallbackStruct fInputCallback{};
    // Set by Initialize.
    bool fInitialized = false;
    AudioObjectID fActiveDevice = kAudioObjectUnknown;
    Float64 fDeviceRate = 0;
    UInt32 fDeviceInputChannels = 0;
    UInt32 fDeviceOutputChannels = 0;
    OwnedBufferList fRenderBuffers;
    OwnedBufferList fInputBuffers;
    std::atomic<bool> fRunning{false};
    // The device's input during an input callback, for AudioUnitRender.
    std::atomic<const AudioBufferList*> fCycleInput{nullptr};
    std::atomic<UInt32> fCycleFrames{0};
};

} // namespace qcp::coreaudio

#pragma once
#include <memory>
#include <string_view>

#include "CoreAudio/AudioHardware.h"

// What answers the CoreAudio functions on systems without CoreAudio: one
// device layer per process ("sim", a simulated sound system; "pulse" to
// come). The C functions of AudioHardware.h check their pointers (a null
// address, size or data pointer is kAudio_ParamError; a null listener too)
// and hand everything else to the installed layer, which trusts them.
namespace qcp::coreaudio {

// The bundle id the CoreAudio plug-in object (which makes aggregate devices)
// is looked up by.
inline constexpr const char* kCoreAudioPlugInBundleID = "com.apple.audio.CoreAudio";

// Every call may come from any thread, at the same time as any other, and is
// answered synchronously with the status CoreAudio would give:
// kAudioHardwareBadObjectError for an id that names no object (also a device
// that has gone), kAudioHardwareUnknownPropertyError for a selector, scope or
// element the object does not have, kAudioHardwareBadPropertySizeError for a
// data size that does not fit the value, kAudioHardwareIllegalOperationError
// for writing a property that is not settable or a value the object refuses.
//
// Values that are CF objects (strings, booleans, arrays) are handed out with
// one reference owned by the caller; values passed in are retained by the
// layer if it keeps them.
//
// Listeners are called on the layer's one notification thread, one call at a
// time, asynchronously after the change and never on the thread that caused
// it, so never under a caller's locks. A listener may call any function here.
// Once RemovePropertyListener returns on another thread, the listener is not
// running and will not be called again; removing from inside a listener
// prevents later calls only.
//
// Device I/O, which the audio units of AudioToolbox run on: a device runs
// while it has a started I/O proc. Each running device has its own I/O
// thread that calls its started procs once per cycle, every buffer-frame-size
// frames at the device's rate as its own clock counts them (the clocks of
// different devices drift apart), paced on the zTime clock: a cycle comes one
// period after the last, the first one period after the device started
// running. A proc is given the cycle's time, the input recorded over the
// period before it, and an output buffer with the time it will play, a period
// after the cycle (host times on the zTime clock). The procs, and so the
// units' render and input callbacks, run on that thread, never on the
// caller's and never under the locks that guard the layer's state (only
// under what makes StopDeviceIO wait for them): they may call any function
// here. Once StopDeviceIO returns on another thread the
// proc is not running and will not be called again; stopping from inside a
// proc prevents later calls only. Nothing on an I/O thread allocates once the
// device runs.
class AudioDeviceLayer {
public:
    // Stops the notification thread; listeners not yet called are dropped.
    virtual ~AudioDeviceLayer() = default;
    // "sim" or "pulse".
    virtual std::string_view Name() const = 0;

    virtual bool HasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) = 0;
    virtual OSStatus IsPropertySettable(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                        bool& settable) = 0;
    // The size GetPropertyData needs for the whole value.
    virtual OSStatus GetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                         UInt32 qualifierSize, const void* qualifier, UInt32& size) = 0;
    // Fills at most `size` bytes of `data` and sets `size` to what was
    // written. Fixed-size values need exactly their size; lists take as many
    // whole items as fit.
    virtual OSStatus GetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                     UInt32 qualifierSize, const void* qualifier, UInt32& size, void* data) = 0;
    virtual OSStatus SetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                     UInt32 qualifierSize, const void* qualifier, UInt32 size, const void* data) = 0;
    // A listener is the triple (address, proc, client data); adding one twice
    // has no further effect. Addresses may use the wildcards.
    virtual OSStatus AddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                         AudioObjectPropertyListenerProc proc, void* clientData) = 0;
    virtual OSStatus RemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                            AudioObjectPropertyListenerProc proc, void* clientData) = 0;

    // Starts calling `proc` with `clientData` (the pair names it; starting it
    // twice has no further effect). kAudioHardwareBadDeviceError for an id
    // that names no device.
    virtual OSStatus StartDeviceIO(AudioObjectID device, AudioDeviceIOProc proc, void* clientData) = 0;
    // Stops it; kAudioHardwareNoError too when it was not started or the
    // device has gone.
    virtual OSStatus StopDeviceIO(AudioObjectID device, AudioDeviceIOProc proc, void* clientData) = 0;
    // Where a running device's clock is now, with its rate scalar;
    // kAudioHardwareNotRunningError while it runs no proc.
    virtual OSStatus GetCurrentTime(AudioObjectID device, AudioTimeStamp& time) = 0;
};

// The installed layer, or null before one is installed. Any thread.
AudioDeviceLayer* Current();
// Installs `layer` (null uninstalls), destroying the previous one before the
// new one answers. Called while no other thread is inside a CoreAudio
// function: at library initialisation or by a test.
void Install(std::unique_ptr<AudioDeviceLayer> layer);

} // namespace qcp::coreaudio

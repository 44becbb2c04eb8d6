#pragma once
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "AudioDeviceLayer.h"
#include "SimAudioApplication.h"
#include "SimAudioDeviceIO.h"
#include "PropertyListeners.h"
#include "SimAudioState.h"

namespace qcp::coreaudio::sim {

// Which calls a fault applies to: property calls, or starting and stopping
// device I/O.
enum class SimAudioCall { Any, HasProperty, IsSettable, GetSize, GetData, SetData, StartIO, StopIO, CurrentTime };

// The simulated sound system: the "sim" device layer, and the world behind it
// that tests and demonstrations change while it runs (devices plugged in and
// out, defaults, the capture driver installed, removed or outdated, faults).
// Every member may be called from any thread; changes reach the listeners
// like any other.
class SimAudioSystem final : public AudioDeviceLayer {
public:
    static constexpr const char* kDriverVersion = "1.0.3";
    static constexpr const char* kOutdatedDriverVersion = "1.0.2";

    SimAudioSystem() = default;

    // The layer.
    std::string_view Name() const override { return "sim"; }
    bool HasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) override;
    OSStatus IsPropertySettable(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                bool& settable) override;
    OSStatus GetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                 UInt32 qualifierSize, const void* qualifier, UInt32& size) override;
    OSStatus GetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address, UInt32 qualifierSize,
                             const void* qualifier, UInt32& size, void* data) override;
    OSStatus SetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address, UInt32 qualifierSize,
                             const void* qualifier, UInt32 size, const void* data) override;
    OSStatus AddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                 AudioObjectPropertyListenerProc proc, void* clientData) override;
    OSStatus RemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                    AudioObjectPropertyListenerProc proc, void* clientData) override;
    OSStatus StartDeviceIO(AudioObjectID device, AudioDeviceIOProc proc, void* clientData) override;
    OSStatus StopDeviceIO(AudioObjectID device, AudioDeviceIOProc proc, void* clientData) override;
    OSStatus GetCurrentTime(AudioObjectID device, AudioTimeStamp& time) override;

    // The world. A device is named by its UID, which survives unplugging;
    // its id does not.
    // Plugs a device in at the end of the device list; its id, or 0 when the
    // UID is taken.
    AudioObjectID AddDevice(SimAudioDeviceSetup setup);
    // Unplugs a device; false when no device has the UID.
    bool RemoveDevice(const std::string& uid);
    // The device's current id; 0 when it is not plugged in.
    AudioObjectID DeviceID(const std::string& uid) const;
    // A default ('dOut', 'sOut' or 'dIn '), as the user would choose it;
    // false when the device cannot be that default.
    bool SetDefault(AudioObjectPropertySelector selector, const std::string& uid);

    // The capture driver's two devices, hidden and unable to be defaults as
    // the driver starts them, at `version`; false when already installed.
    bool InstallDriver(const std::string& version = kDriverVersion);
    // Unplugs both driver devices; false when not installed.
    bool RemoveDriver();

    // An application that plays its signal into the default output from now
    // on, following it as it changes.
    void AddApplication(SimAudioApplicationSetup setup);
    // The newest `frames` frames (interleaved) a real output device was given
    // by everything playing into it, kept across unplugging; at most two
    // seconds.
    std::vector<Float32> Recording(const std::string& uid, UInt32 frames) const;
    // I/O cycles a plugged-in device has run.
    uint64_t IOCycles(const std::string& uid) const;

    // Every call of kind `call` (not listener calls) on `object` (any object
    // for kAudioObjectUnknown) for `selector` (any selector for
    // kAudioObjectPropertySelectorWildcard; I/O calls have no selector, so
    // only that) fails with `status`, HasProperty answering false; until
    // cleared.
    void InjectFault(AudioObjectID object, AudioObjectPropertySelector selector, OSStatus status,
                     SimAudioCall call = SimAudioCall::Any);
    void ClearFaults();
    // Returns once the listeners have heard every change made so far, so
    // that a test's next step is not met by news of an earlier one.
    void SettleListeners() { fListeners.Settle(); }
    // Property calls answered so far, failed ones included.
    uint64_t PropertyCalls() const { return fPropertyCalls; }

private:
    struct Fault {
        AudioObjectID object;
        AudioObjectPropertySelector selector;
        OSStatus status;
        SimAudioCall call;
    };
    // Counts the call and answers an injected fault, or noErr. Lock held.
    OSStatus Enter(AudioObjectID object, const AudioObjectPropertyAddress& address, SimAudioCall call);
    // An injected fault for an I/O call, or noErr. Lock held.
    OSStatus IOFault(AudioObjectID object, SimAudioCall call) const;
    // Tells the listeners, and brings the devices' I/O and the applications
    // up to date with the changes. No lock held.
    void Publish(const SimAudioChanges& changes);
    // A device's I/O, made when it first runs; null when it has none.
    std::shared_ptr<SimAudioDeviceIO> IO(AudioObjectID device, const SimAudioDeviceSetup* setup);
    // Moves the applications to the default output.
    void RouteApplications();

    mutable std::mutex fMutex;
    SimAudioState fState;
    std::vector<Fault> fFaults;
    std::atomic<uint64_t> fPropertyCalls{0};

    // Apart from fMutex: I/O threads reach them without the state's lock.
    mutable std::mutex fAppsMutex;
    std::vector<std::unique_ptr<SimAudioApplication>> fApps;
    mutable std::mutex fIOMutex;
    std::shared_ptr<SimAudioRing> fLoopback;
    std::map<std::string, std::shared_ptr<SimAudioRing>> fRecordings; // by UID
    // After the applications and rings: its threads run their procs.
    std::map<AudioObjectID, std::shared_ptr<SimAudioDeviceIO>> fIO;
    // Last: its thread is stopped before the state it may read goes away.
    PropertyListeners fListeners;
};

// The default world: the capture driver installed at its current version
// ("missing" or "outdated" in QCP_SIM_AUDIO_DRIVER change that; any other
// value is taken as "installed"), then "Simulated Speakers", the default and
// system-sounds output, and "Simulated Microphone", the default input; and
// an application playing a 440 Hz sine peaking at -12 dBFS into the default
// output.
std::unique_ptr<SimAudioSystem> CreateDefaultSimAudioSystem();

// The default world's devices' UIDs.
inline constexpr const char* kSimSpeakersUID = "com.qcp.sim.audio.speakers";
inline constexpr const char* kSimMicrophoneUID = "com.qcp.sim.audio.microphone";

} // namespace qcp::coreaudio::sim

#pragma once
#include <pulse/introspect.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "AudioDeviceLayer.h"
#include "PulseConnection.h"
#include "PulseDeviceIO.h"
#include "PulseDevices.h"
#include "PulseProperties.h"
#include "PropertyListeners.h"

namespace qcp::coreaudio::pulse {

// The "pulse" device layer: the sound server's sinks and sources as CoreAudio
// devices, for a client of the server. Made by whoever installs it (any
// thread); every member may then be called from any thread, as
// AudioDeviceLayer says.
//
// Devices: every sink is an output device with one output stream, every
// source that is not a sink's monitor an input device with one input stream
// (a monitor is part of its sink, not a device). A device's id lasts while
// the server object does; one that comes back gets a new id. Its UID is the
// server's name for it, its name the description, its streams' channels
// those of its channel map, its nominal rate that of its sample format; the
// rate can be "set" only to what it is, since the server picks rates. The
// buffer frame size starts at 512 frames, as a hardware device's would, or
// at the configured latency when that is shorter, and is kept by the layer,
// within 32..4096 frames. A
// sink's volume (the channels' average, linear) and mute, in output scope,
// are the server's and settable. The default output and system output
// devices are both the default sink, the default input device the default
// source (none while it is a monitor); setting either sets the server's.
//
// The capture driver's devices, a sink and a source named with its UIDs,
// answer its version from the proplist entry "qcp.driver.version" the
// installer sets. The server has no visible or can-be-default flags: the
// layer keeps them per device, both false when a device appears, as the
// driver starts them; while can-be-default is false the device refuses to
// become a default (the server may still choose it by itself; the default
// properties then name it).
//
// Listeners hear the device list, the defaults, a device's name, rate (with
// its stream's formats), volume and mute, and a device's IsAlive when it
// goes, on the layer's own notification thread: never the client library's
// loop thread, never under the layer's locks. A write answers once the
// server has carried it out and the layer has heard the result, so a read
// that follows sees it.
//
// Device I/O: a source's procs get what it records, a sink's procs render
// what it plays, each device on its own stream and I/O thread as
// PulseDeviceIO says; a device's procs stop being called when it goes. A
// sink's monitor is recorded through a source over it (the capture driver
// has one).
//
// Statuses: the server's errors map as StatusOf (PulseConnection.h) says.
// While no server answers (none at construction, or it went away) every call
// answers kAudioHardwareNotRunningError (HasProperty false; StopDeviceIO
// still stops), and the layer tries to connect again every second on a
// thread of its own. The user log says when the server went away and when
// it is back. A server that comes back is the same system restarted, not new
// hardware: its devices with the names they had keep their ids, and their
// running I/O carries on; those it does not have within a few seconds go as
// unplugged devices do.
// The defaults this process last set are set again, since a restarted server
// may have forgotten them. Aggregate devices are combine sinks, as
// PulseAggregates.h says.
class PulseAudioSystem final : public AudioDeviceLayer, private PulseConnection::Handler {
public:
    // Connects to `server` (empty: the client library's lookup, PULSE_SERVER
    // first) and waits until it has heard the server's devices.
    explicit PulseAudioSystem(const std::string& server = {});
    ~PulseAudioSystem() override;

    std::string_view Name() const override { return "pulse"; }
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

    // Whether the server answered and is still there.
    bool IsRunning() const { return fLoaded && !fLost; }

private:
    // What the server told, applied in order with the defaults that follow.
    struct Heard {
        bool removed = false;
        PulseDeviceInfo info;
    };
    // The loop's thread.
    void OnEvent(pa_context* context, pa_subscription_event_type_t type, uint32_t index) override;
    void OnLost() override;
    static void OnSinkInfo(pa_context* context, const pa_sink_info* info, int eol, void* self);
    static void OnSourceInfo(pa_context* context, const pa_source_info* info, int eol, void* self);
    // Applies what was heard before it together with the defaults, so that a
    // device and the default it became are seen at once.
    static void OnServerInfo(pa_context* context, const pa_server_info* info, void* self);
    // Asks for a device's state and then the defaults.
    void Ask(pa_context* context, bool input, uint32_t index);
    // Has the server carry out a write, then hears its result. No lock held.
    OSStatus Carry(const PulseRequest& request);
    // Until the server tells the default `request` set, within a bound.
    OSStatus AwaitDefault(const PulseRequest& request);
    // Asks the server (`ask`, no lock held) until it has told what `told`
    // looks for (under fMutex), for `patienceMicros`: a server may apply a
    // change a moment after acknowledging it.
    OSStatus AskUntil(int64_t patienceMicros, const std::function<OSStatus()>& ask, const std::function<bool()>& told);
    // Connects and hears every device and the defaults; false when no server
    // answers. Not on the loop's thread.
    bool Connect();
    // Calls `action` with each device's I/O and the device, null when it
    // has gone; no lock held.
    void ForEachIO(const std::function<void(PulseDeviceIO&, const PulseDevice*)>& action);
    // After a server came back: the defaults this process chose, again
    // (pending until set, and while settling until their devices are back).
    void SetChosenDefaults();
    // While a server that came back settles: the I/O of devices that are
    // back carries on; once it has settled, those still missing go.
    void Settle();
    // The retry thread.
    void KeepConnecting();
    // A device's I/O, once it has been started; kept until the layer goes.
    PulseDeviceIO* IO(AudioObjectID device);
    // Aggregates (PulseAggregates.cpp), with no lock held.
    OSStatus CreateAggregate(UInt32 qualifierSize, const void* qualifier, UInt32 size, void* data);
    OSStatus DestroyAggregate(UInt32 size, const void* data);
    OSStatus SetSubDevices(const PulseRequest& request);
    // `loaded`, when given, receives the module's index.
    OSStatus LoadModule(const char* name, const std::string& arguments, uint32_t* loaded = nullptr);
    OSStatus UnloadModule(uint32_t module);
    // Hears a sink by name, and the defaults, before answering.
    OSStatus HearSink(const std::string& name);
    // Hears the sink until it is told whole as a combine sink, for a while.
    OSStatus AwaitAggregate(const std::string& name);
    // Asks until the server lists no sink of that name (a module's unloading
    // is answered before it is done), for a while.
    OSStatus AwaitSinkGone(const std::string& name);

    mutable std::mutex fMutex;
    PulseDevices fDevices;     // under fMutex
    std::vector<Heard> fHeard; // the loop's thread only
    std::atomic<bool> fLoaded{false};
    std::atomic<bool> fLost{false};
    const std::string fServer;
    std::string fChosenSink, fChosenSource; // under fMutex: what SetPropertyData set
    std::atomic<bool> fDefaultsPending{false};
    std::atomic<int64_t> fSettleUntil{0}; // while a server that came back settles
    std::mutex fRetryMutex;
    std::condition_variable fRetry;
    bool fClosing = false; // under fRetryMutex
    // Its thread is stopped before the devices it reads go away.
    PropertyListeners fListeners;
    // Its thread, which calls back into the layer, is stopped before the
    // layer's state goes.
    PulseConnection fConnection;
    // Before the connection they use: their threads are stopped first.
    std::mutex fIOMutex;
    std::map<AudioObjectID, std::unique_ptr<PulseDeviceIO>> fIO; // under fIOMutex
    std::thread fRetryThread; // joined first, by the destructor
};

} // namespace qcp::coreaudio::pulse

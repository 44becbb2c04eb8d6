#pragma once
#include <CoreAudio/CoreAudio.h>

#include <memory>
#include <mutex>
#include <string>

class CAPlayThroughHost;
class vnAudioPlayThrough;

// Plays what the capture driver records on a real output device for as long
// as at least one capture runs, and follows the user when the default output
// changes or the chosen output disappears. One per process
// (SharedController), never destroyed: its listeners stay registered.
//
// Start, Stop and SetSystemOutputDeviceID come from the audio engine's
// thread; the listeners from CoreAudio's notification thread, one at a time.
// A lock keeps the two sides from overlapping. The engine's thread never
// holds it while removing a listener (the play-through's included, when it
// stops), since removal waits for a listener running, which may be waiting
// for the lock; on the notification thread removal does not wait. Nothing is
// reported to callers: every failure goes to the user log or the trace and
// the controller carries on without speakers.
class vnSpeakerCaptureController {
public:
    static vnSpeakerCaptureController* SharedController();

    // The first Start begins forwarding; later ones only count.
    void Start();
    // The Stop matching the first Start ends forwarding.
    void Stop();
    // The output the user had before capture routed output to the driver.
    void SetSystemOutputDeviceID(AudioDeviceID device);

    // The capture driver's played-into device, made visible; false when it
    // is missing or cannot be shown.
    bool SetupOstrelAudioCaptureDeviceID();
    OSStatus SetupDefaultAudioOutputListener();
    OSStatus RemoveDefaultAudioOutputListener();
    OSStatus SetupDeviceListener();

    // Reactions to the listeners.
    void DeviceListChanged();
    void DefaultAudioOutputChanged();

    static OSStatus OnAudioOutputDeviceChanged(AudioObjectID object, UInt32 count,
                                               const AudioObjectPropertyAddress* addresses, void* clientData);
    static OSStatus OnDeviceListChanged(AudioObjectID object, UInt32 count,
                                        const AudioObjectPropertyAddress* addresses, void* clientData);

    // What the controller is doing, for whoever watches it.
    int StartCount() const;
    AudioDeviceID PlayThroughOutputDeviceID() const;
    std::string PlayThroughDeviceName() const;

    // The play-through while forwarding, its host and the device it
    // forwards to (0 when none), for whoever watches it.
    std::shared_ptr<vnAudioPlayThrough> PlayThrough() const;
    std::shared_ptr<CAPlayThroughHost> PlayThroughHost() const;
    AudioDeviceID ForwardedToDeviceID() const;

private:
    vnSpeakerCaptureController() = default;

    // Re-entrant: the public steps are also the insides of Start.
    mutable std::recursive_mutex fMutex;
    int fStartCount = 0;
    AudioDeviceID fCaptureDeviceID = 0;
    AudioDeviceID fSystemOutputDeviceID = 0;
    AudioDeviceID fPlayThroughOutputDeviceID = 0;
    std::string fPlayThroughDeviceName;
    std::shared_ptr<vnAudioPlayThrough> fPlayThrough;
    // Start and Stop run one at a time, whole (the listeners never take it),
    // so that a listener removed by Stop is not added back half way.
    std::mutex fStartStopMutex;
};

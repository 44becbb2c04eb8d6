#pragma once
#include <CoreAudio/CoreAudio.h>
#include <dispatch/dispatch.h>

#include <memory>
#include <mutex>

class CAPlayThrough;

// Owns one CAPlayThrough between two devices and rebuilds it, on its own
// serial queue ("com.CAPlayThough.StreamListenerQueue"), whenever the
// physical format of one of the input device's input streams changes.
//
// Made and destroyed by its owner (vnAudioPlayThrough) on any one thread,
// which also calls Start, Stop and IsRunning. The rebuild runs on the
// queue; a lock keeps it apart from those calls and from destruction, which
// waits for a rebuild in progress. Listener failures print to standard
// error and are otherwise ignored.
class CAPlayThroughHost {
public:
    CAPlayThroughHost(AudioDeviceID input, AudioDeviceID output);
    ~CAPlayThroughHost();
    CAPlayThroughHost(const CAPlayThroughHost&) = delete;
    CAPlayThroughHost& operator=(const CAPlayThroughHost&) = delete;

    // 0 / false while there is no play-through.
    OSStatus Start();
    OSStatus Stop();
    bool IsRunning();
    bool PlayThroughExists();
    // The play-through's input device (0 when there is none), and how many
    // times a format change rebuilt it.
    AudioDeviceID InputDeviceID();
    unsigned Resets();

private:
    // What the listener block holds: it may run after the host has gone.
    struct Gate {
        std::mutex mutex; // taken by every operation on the play-through
        CAPlayThroughHost* host = nullptr;
    };

    // Gate lock held by the callers of these.
    void CreatePlayThrough(AudioDeviceID input, AudioDeviceID output);
    void DeletePlayThrough();
    void ResetPlayThrough();
    void AddDeviceListeners(AudioDeviceID input);
    void RemoveDeviceListeners(AudioDeviceID input);

    dispatch_queue_t fListenerQueue = nullptr;
    AudioObjectPropertyListenerBlock fListenerBlock;
    std::unique_ptr<CAPlayThrough> fPlayThrough;
    std::mutex fMutex; // deletion of the play-through
    const std::shared_ptr<Gate> fGate = std::make_shared<Gate>();
    unsigned fResets = 0;
};

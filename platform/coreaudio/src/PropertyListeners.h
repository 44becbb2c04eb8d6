#pragma once
#include <atomic>
#include <mutex>
#include <vector>

#include "CoreAudio/AudioHardware.h"
#include "zQueue.h"

namespace qcp::coreaudio {

// A property that changed, for the listeners.
struct PropertyChange {
    AudioObjectID object;
    AudioObjectPropertyAddress address;
};
using PropertyChanges = std::vector<PropertyChange>;

// A device layer's property listeners and the one notification thread that
// calls them, asynchronously, in the order the changes happened.
class PropertyListeners {
public:
    PropertyListeners();
    // Drops the notifications not yet delivered.
    ~PropertyListeners();

    void Add(AudioObjectID object, const AudioObjectPropertyAddress& address, AudioObjectPropertyListenerProc proc,
             void* clientData);
    // Waits for a call in progress unless called from a listener.
    void Remove(AudioObjectID object, const AudioObjectPropertyAddress& address, AudioObjectPropertyListenerProc proc,
                void* clientData);
    // Queues calls to the listeners of each change. Any thread, any lock.
    void Notify(const PropertyChanges& changes);
    // Returns once the listeners have been told of every change notified
    // before. Not from a listener.
    void Settle() { fQueue.Sync([] {}); }

private:
    struct Listener {
        AudioObjectID object;
        AudioObjectPropertyAddress address;
        AudioObjectPropertyListenerProc proc;
        void* clientData;
        bool operator==(const Listener& other) const;
        bool Hears(const PropertyChange& change) const;
    };
    void Deliver(const PropertyChange& change);
    bool IsListening(const Listener& listener);

    std::mutex fMutex;
    std::vector<Listener> fListeners;
    std::atomic<bool> fClosing{false};
    // Last: stopped before the listeners it reads go away.
    zQueue fQueue;
};

} // namespace qcp::coreaudio

#include "PropertyListeners.h"

#include <algorithm>

namespace qcp::coreaudio {
namespace {
bool Matches(UInt32 wanted, UInt32 changed, UInt32 wildcard) {
    return wanted == changed || wanted == wildcard || changed == wildcard;
}
} // namespace

bool PropertyListeners::Listener::operator==(const Listener& other) const {
    return object == other.object && address.mSelector == other.address.mSelector &&
           address.mScope == other.address.mScope && address.mElement == other.address.mElement &&
           proc == other.proc && clientData == other.clientData;
}

bool PropertyListeners::Listener::Hears(const PropertyChange& change) const {
    return object == change.object &&
           Matches(address.mSelector, change.address.mSelector, kAudioObjectPropertySelectorWildcard) &&
           Matches(address.mScope, change.address.mScope, kAudioObjectPropertyScopeWildcard) &&
           Matches(address.mElement, change.address.mElement, kAudioObjectPropertyElementWildcard);
}

PropertyListeners::PropertyListeners() : fQueue("com.qcp.coreaudio.notifications") {}

PropertyListeners::~PropertyListeners() { fClosing = true; }

void PropertyListeners::Add(AudioObjectID object, const AudioObjectPropertyAddress& address,
                            AudioObjectPropertyListenerProc proc, void* clientData) {
    const Listener listener{object, address, proc, clientData};
    std::lock_guard lock(fMutex);
    if (std::find(fListeners.begin(), fListeners.end(), listener) == fListeners.end())
        fListeners.push_back(listener);
}

void PropertyListeners::Remove(AudioObjectID object, const AudioObjectPropertyAddress& address,
                               AudioObjectPropertyListenerProc proc, void* clientData) {
    const Listener listener{object, address, proc, clientData};
    {
        std::lock_guard lock(fMutex);
        std::erase(fListeners, listener);
    }
    // Whatever the queue is running now finishes before this returns; later
    // deliveries look the listener up again and no longer find it.
    if (!fQueue.IsCurrent()) fQueue.Sync([] {});
}

void PropertyListeners::Notify(const PropertyChanges& changes) {
    for (const PropertyChange& change : changes) fQueue.Async([this, change] { Deliver(change); });
}

bool PropertyListeners::IsListening(const Listener& listener) {
    std::lock_guard lock(fMutex);
    return std::find(fListeners.begin(), fListeners.end(), listener) != fListeners.end();
}

void PropertyListeners::Deliver(const PropertyChange& change) {
    std::vector<Listener> hearing;
    {
        std::lock_guard lock(fMutex);
        std::copy_if(fListeners.begin(), fListeners.end(), std::back_inserter(hearing),
                     [&change](const Listener& listener) { return listener.Hears(change); });
    }
    for (const Listener& listener : hearing) {
        // A listener removed by an earlier one in this round is not called.
        if (fClosing) return;
        if (!IsListening(listener)) continue;
        listener.proc(change.object, 1, &change.address, listener.clientData);
    }
}

} // namespace qcp::coreaudio

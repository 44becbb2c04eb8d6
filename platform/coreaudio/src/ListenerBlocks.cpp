// The block form of property listeners, over the proc form: each registered
// block is one proc-form listener whose proc posts the block's call to its
// queue.
#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "AudioDeviceLayer.h"

namespace {

// One registered block: the client data of the proc-form listener standing
// for it. Shared by the registry and by the calls queued for it, so it (and
// the queue it holds) lasts as long as either needs it.
struct Registration : std::enable_shared_from_this<Registration> {
    Registration(AudioObjectID object, const AudioObjectPropertyAddress& address, dispatch_queue_t queue,
                 AudioObjectPropertyListenerBlock block)
        : object(object), address(address), queue(queue), block(std::move(block)) {
        dispatch_retain(queue);
    }
    ~Registration() { dispatch_release(queue); }

    bool Names(AudioObjectID otherObject, const AudioObjectPropertyAddress& otherAddress, dispatch_queue_t otherQueue,
               const AudioObjectPropertyListenerBlock& otherBlock) const {
        return object == otherObject && address.mSelector == otherAddress.mSelector &&
               address.mScope == otherAddress.mScope && address.mElement == otherAddress.mElement &&
               queue == otherQueue && block == otherBlock;
    }

    const AudioObjectID object;
    const AudioObjectPropertyAddress address;
    const dispatch_queue_t queue;
    const AudioObjectPropertyListenerBlock block;
    // Cleared by removal: calls queued but not started then are dropped.
    std::atomic<bool> listening{true};
};

struct Registry {
    std::mutex mutex;
    std::vector<std::shared_ptr<Registration>> registrations;

    auto Find(AudioObjectID object, const AudioObjectPropertyAddress& address, dispatch_queue_t queue,
              const AudioObjectPropertyListenerBlock& block) {
        return std::find_if(registrations.begin(), registrations.end(), [&](const auto& registration) {
            return registration->Names(object, address, queue, block);
        });
    }
};

// Never destroyed: the layer, which is not destroyed at exit either, may
// still call for the registrations left as the process ends.
Registry& Registered() {
    static auto* registry = new Registry;
    return *registry;
}

// On the notification thread. The registration lives at least until this
// returns: its remover holds it while the layer waits for this call.
OSStatus PostToQueue(AudioObjectID, UInt32 count, const AudioObjectPropertyAddress* addresses, void* clientData) {
    auto registration = static_cast<Registration*>(clientData)->shared_from_this();
    // The addresses are the layer's only for this call.
    std::vector<AudioObjectPropertyAddress> changed(addresses, addresses + count);
    dispatch_async(registration->queue, [registration, changed = std::move(changed)] {
        if (registration->listening) registration->block(static_cast<UInt32>(changed.size()), changed.data());
    });
    return kAudioHardwareNoError;
}

} // namespace

extern "C" {

OSStatus AudioObjectAddPropertyListenerBlock(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                             dispatch_queue_t inDispatchQueue,
                                             AudioObjectPropertyListenerBlock inListener) {
    if (!qcp::coreaudio::Current()) return kAudioHardwareNotRunningError;
    if (!inAddress || !inDispatchQueue || !inListener) return kAudio_ParamError;
    Registry& registry = Registered();
    // The layer adds without waiting for its notification thread, so under
    // the lock: a registration is listed exactly while the layer has it.
    std::lock_guard lock(registry.mutex);
    if (registry.Find(inObjectID, *inAddress, inDispatchQueue, inListener) != registry.registrations.end())
        return kAudioHardwareNoError;
    auto registration = std::make_shared<Registration>(inObjectID, *inAddress, inDispatchQueue, std::move(inListener));
    const OSStatus status = AudioObjectAddPropertyListener(inObjectID, inAddress, &PostToQueue, registration.get());
    if (status == kAudioHardwareNoError) registry.registrations.push_back(std::move(registration));
    return status;
}

OSStatus AudioObjectRemovePropertyListenerBlock(AudioObjectID inObjectID, const AudioObjectPropertyAddress* inAddress,
                                                dispatch_queue_t inDispatchQueue,
                                                AudioObjectPropertyListenerBlock inListener) {
    if (!qcp::coreaudio::Current()) return kAudioHardwareNotRunningError;
    if (!inAddress || !inDispatchQueue || !inListener) return kAudio_ParamError;
    std::shared_ptr<Registration> registration;
    {
        Registry& registry = Registered();
        std::lock_guard lock(registry.mutex);
        const auto found = registry.Find(inObjectID, *inAddress, inDispatchQueue, inListener);
        if (found == registry.registrations.end()) return kAudioHardwareIllegalOperationError;
        registration = std::move(*found);
        registry.registrations.erase(found);
    }
    registration->listening = false;
    // Not under the registry's lock: away from the notification thread the
    // layer waits for the listener it is running, which may be adding or
    // removing blocks itself. On that thread it does not wait, and need not:
    // the listener running is not this proc. Either way the proc is done with
    // the registration once this returns; the calls still queued hold it.
    return AudioObjectRemovePropertyListener(inObjectID, inAddress, &PostToQueue, registration.get());
}
}

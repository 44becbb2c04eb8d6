#pragma once
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "SystemAudioReceiver.h"
#include "vnAudio_mac.h"
#include "zCritical.h"

namespace MC {

// The process's one owner of the system-audio chain: the engine, which it
// runs while at least one receiver is registered, and the packets it cuts
// from the engine's ring for every receiver: 3,600 bytes per channel, at
// most one per block the recorder delivers.
//
// Registration runs on the host's threads, one change at a time; starting or
// stopping the engine inside it takes up to about a second and a half.
// Receivers are called on the recorder's real-time thread, one packet at a
// time; once unregisterAudioReceiver returns, that receiver is not being
// called and will not be again. A receiver must not register or unregister
// from inside its callback.
class SystemAudioDriver final : public vnAudio_mac {
public:
    // The singleton, made by Startup when there is none.
    static SystemAudioDriver* Default();
    // Makes the singleton, unless there is one, and repairs the routing an
    // earlier run may have left on the capture driver.
    static void Startup();
    // Stops and destroys the singleton.
    static void Shutdown();

    ~SystemAudioDriver() override;

    void Start() override;
    void Stop() override;
    bool isRunning() const { return fRunning; }
    // Listed once, at the end; the first receiver starts the engine.
    void registerAudioReceiver(SystemAudioReceiver* receiver);
    // The engine stops whenever no receiver is left afterwards.
    void unregisterAudioReceiver(SystemAudioReceiver* receiver);
    void ProcessAudioData(double sampleTime, unsigned long long hostTime, void* data, int size) override;

private:
    SystemAudioDriver() = default;
    static void RepairRouting();

    // Guards the receivers' changes and the running flag's transitions,
    // which start and stop the engine.
    std::unique_ptr<zCritical> fReceiversLock = zCritical::Factory();
    // Guards the list itself, for the time of one packet's delivery.
    std::mutex fDeliveryLock;
    std::vector<SystemAudioReceiver*> fReceivers;
    std::atomic<bool> fHasReceivers{false};
    std::atomic<bool> fRunning{false};
};

} // namespace MC

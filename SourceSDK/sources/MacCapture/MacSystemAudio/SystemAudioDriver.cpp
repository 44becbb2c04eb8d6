#include "SystemAudioDriver.h"

#include <algorithm>

#include "CaptureDriver.h"
#include "vnAudioHelper.h"
#include "vnAudioRouting.h"
#include "zMessages.h"

namespace MC {
namespace {

// 1,800 frames of 16-bit samples: 37.5 ms at 48 kHz.
constexpr unsigned int kPacketBytesPerChannel = 3600;

std::mutex gInstanceMutex;
std::atomic<SystemAudioDriver*> gInstance{nullptr};

} // namespace

SystemAudioDriver* SystemAudioDriver::Default() {
    if (SystemAudioDriver* driver = gInstance.load(std::memory_order_acquire)) return driver;
    Startup();
    return gInstance.load(std::memory_order_acquire);
}

void SystemAudioDriver::Startup() {
    {
        std::lock_guard lock(gInstanceMutex);
        if (gInstance.load(std::memory_order_relaxed)) return;
        gInstance.store(new SystemAudioDriver(), std::memory_order_release);
    }
    RepairRouting();
}

void SystemAudioDriver::RepairRouting() {
    const AudioObjectID captureDevice = vnAudioHelper_GetDeviceID(kCaptureDriverPlayedIntoUID);
    // Left on the driver by a run that ended without restoring it.
    const bool leftOnDriver = captureDevice != kAudioObjectUnknown &&
                              (vnAudioHelper_GetSystemOutput() == captureDevice ||
                               vnAudioRouting_GetSystemSoundsOutput() == captureDevice);
    if (leftOnDriver) vnAudioRouting_RepairOutputs();
    if (captureDevice == kAudioObjectUnknown) return;
    vnAudioRouting_SetCanBeDefault(captureDevice, false);
    vnAudioHelper_SetDeviceVisibility(captureDevice, false);
    vnAudioRouting_TidyAggregate(vnAudioHelper_GetSystemOutput());
}

void SystemAudioDriver::Shutdown() {
    std::lock_guard lock(gInstanceMutex);
    if (SystemAudioDriver* driver = gInstance.exchange(nullptr)) {
        driver->Stop();
        delete driver;
    }
}

SystemAudioDriver::~SystemAudioDriver() {
    Stop();
    std::lock_guard delivery(fDeliveryLock);
    fReceivers.clear();
}

void SystemAudioDriver::Start() {
    zLocker lock(*fReceiversLock);
    if (fRunning) return;
    // Running first: a start that fails early stops through Stop, which
    // then balances it.
    fRunning = true;
    vnAudio_mac::Start();
}

void SystemAudioDriver::Stop() {
    zLocker lock(*fReceiversLock);
    if (!fRunning) return;
    vnAudio_mac::Stop();
    fRunning = false;
}

void SystemAudioDriver::registerAudioReceiver(SystemAudioReceiver* receiver) {
    zLocker lock(*fReceiversLock);
    if (!fRunning) Start();
    std::lock_guard delivery(fDeliveryLock);
    std::erase(fReceivers, receiver);
    fReceivers.push_back(receiver);
    fHasReceivers = true;
}

void SystemAudioDriver::unregisterAudioReceiver(SystemAudioReceiver* receiver) {
    zLocker lock(*fReceiversLock);
    bool empty;
    {
        std::lock_guard delivery(fDeliveryLock);
        if (auto found = std::find(fReceivers.begin(), fReceivers.end(), receiver); found != fReceivers.end())
            fReceivers.erase(found);
        empty = fReceivers.empty();
        fHasReceivers = !empty;
    }
    // Outside the delivery lock: stopping waits for the delivering thread.
    if (empty) Stop();
}

void SystemAudioDriver::ProcessAudioData(double sampleTime, unsigned long long hostTime, void* data, int size) {
    vnAudio_mac::ProcessAudioData(sampleTime, hostTime, data, size);
    // Unlocked: a stale answer only delays or skips one packet.
    if (!fHasReceivers.load(std::memory_order_relaxed)) return;
    // Never waits on the real-time thread: while the engine starts or stops
    // there is nothing to deliver. Held through the delivery, so that the
    // packet buffer outlives it.
    std::unique_lock ringLock(fRingLock, std::try_to_lock);
    if (!ringLock || !fRing) return;
    const unsigned int packetBytes = fChannels * kPacketBytesPerChannel;
    if (fRing->TotalNumberOfBytesAvailable() < packetBytes) return;
    if (!fPacketBuffer) {
        zTrace("SystemAudioDriver::ProcessAudioData: Unable to get system audio due to nullptr.");
        return;
    }
    fRing->ReadData(fPacketBuffer.get(), packetBytes);
    std::lock_guard delivery(fDeliveryLock);
    for (SystemAudioReceiver* receiver : fReceivers)
        receiver->ProcessAudioData(fPacketBuffer.get(), static_cast<int>(packetBytes));
}

} // namespace MC

#include "SystemAudioDevice.h"

#include "AudioPacket.h"
#include "SystemAudioDriver.h"

namespace MC {

SystemAudioDevice::SystemAudioDevice() : fPrivate(std::make_unique<TPrivate>()) {}

SystemAudioDevice::~SystemAudioDevice() = default;

void SystemAudioDevice::RegisterAudioDataCallback(QCP_AudioDataCallback callback, void* userData) {
    SystemAudioDriver* driver = SystemAudioDriver::Default();
    if (callback && userData) {
        driver->registerAudioReceiver(fPrivate.get());
    } else {
        driver->unregisterAudioReceiver(fPrivate.get());
    }
    fPrivate->SetCallback(callback, userData);
}

void SystemAudioDevice::TPrivate::SetCallback(QCP_AudioDataCallback callback, void* userData) {
    std::lock_guard lock(fMutex);
    fCallback = callback;
    fUserData = userData;
}

void SystemAudioDevice::TPrivate::ProcessAudioData(void* data, int size) {
    std::lock_guard lock(fMutex);
    if (!fCallback) return;
    WriteAudioPacketHeader(fBuffer);
    fBuffer.dataBytes = uint32_t(RoundToWholeFrames(size));
    fBuffer.data = data;
    fCallback(fUserData, &fBuffer);
}

} // namespace MC

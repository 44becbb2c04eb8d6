#include "SystemAudioDevice.h"

#include "AudioPacket.h"

namespace MC {

SystemAudioDevice::SystemAudioDevice() : fPrivate(std::make_unique<TPrivate>()) {}

SystemAudioDevice::~SystemAudioDevice() = default;

void SystemAudioDevice::RegisterAudioDataCallback(QCP_AudioDataCallback callback, void* userData) {
    // The system audio driver, which registers this receiver while the host
    // listens and unregisters it otherwise, joins here when it lands; until
    // then no packets arrive.
    fPrivate->callback = callback;
    fPrivate->userData = userData;
}

void SystemAudioDevice::TPrivate::ProcessAudioData(void* data, int size) {
    if (!callback) return;
    WriteAudioPacketHeader(buffer);
    buffer.dataBytes = uint32_t(RoundToWholeFrames(size));
    buffer.data = data;
    callback(userData, &buffer);
}

} // namespace MC

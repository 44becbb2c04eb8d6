#pragma once
#include <memory>
#include <mutex>

#include "QCP_API.h"
#include "SystemAudioReceiver.h"

namespace MC {

// The plug-in side of the "pc-audio-capture" device: wraps each packet of
// system audio in a QCP_AudioBuffer and hands it to the host's callback.
class SystemAudioDevice {
public:
    static constexpr const char* kSystemAudioDeviceID = QCP_AUDIO_DEVICE_ID;
    static constexpr const char* kSystemAudioSourceID = QCP_AUDIO_SOURCE_ID;

    // The receiver: the host's callback is changed on host threads and
    // called on the audio thread, under one lock.
    class TPrivate final : public SystemAudioReceiver {
    public:
        void ProcessAudioData(void* data, int size) override;
        void SetCallback(QCP_AudioDataCallback callback, void* userData);

    private:
        std::mutex fMutex;
        QCP_AudioDataCallback fCallback = nullptr;
        void* fUserData = nullptr;
        QCP_AudioBuffer fBuffer{};
    };

    SystemAudioDevice();
    // Does not unregister from the audio driver: the owner registers a null
    // callback first.
    ~SystemAudioDevice();

    // Registers the receiver with the system-audio driver (made if there is
    // none) while the host listens; a callback with a null user data clears
    // the registration, deliberately.
    void RegisterAudioDataCallback(QCP_AudioDataCallback callback, void* userData);

    TPrivate& Private() { return *fPrivate; }

private:
    std::unique_ptr<TPrivate> fPrivate;
};

} // namespace MC

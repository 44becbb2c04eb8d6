#pragma once
#include <CoreAudio/CoreAudio.h>

#include <memory>

class CAPlayThroughHost;

// Plays the capture driver's recorded-from device on one output device:
// the speaker controller's handle on a play-through host. Used from one
// thread at a time (the controller serialises it); Stop and destruction wait
// for the play-through's callbacks and any rebuild to finish.
class vnAudioPlayThrough {
public:
    vnAudioPlayThrough() = default;
    ~vnAudioPlayThrough();
    vnAudioPlayThrough(const vnAudioPlayThrough&) = delete;
    vnAudioPlayThrough& operator=(const vnAudioPlayThrough&) = delete;

    // Replaces any play-through with one from the capture driver to
    // `output`, started; kAudio_ParamError when either device is missing.
    OSStatus StartOutputTo(AudioDeviceID output);
    void Stop();
    // The default output device.
    AudioDeviceID CurrentSystemOutputDevice() const;

    AudioDeviceID InputDeviceID() const { return fInputDeviceID; }
    AudioDeviceID OutputDeviceID() const { return fOutputDeviceID; }
    // The host while one plays, for whoever watches it.
    std::shared_ptr<CAPlayThroughHost> Host() const { return fHost; }

private:
    AudioDeviceID fInputDeviceID = 0;
    AudioDeviceID fOutputDeviceID = 0;
    std::shared_ptr<CAPlayThroughHost> fHost;
};

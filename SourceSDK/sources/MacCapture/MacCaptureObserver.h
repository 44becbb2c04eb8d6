#pragma once
#include "MacSystemAudio/SystemAudioReceiver.h"
#include "Surface.h"

namespace MC {

// Receives a capture source's frames (and, as an audio receiver, the system
// audio captured along with it).
class MacCaptureObserver : public SystemAudioReceiver {
public:
    // One frame. The surface is valid during the call only (retain it to keep
    // it) and may be null when no picture could be made.
    virtual void receivedScreenFrame(int width, int height, unsigned long long time,
                                     qcp::platform::Surface* surface) = 0;
};

} // namespace MC

#pragma once
#include "MacSystemAudio/SystemAudioReceiver.h"

namespace MC {

// Receives a capture source's frames (and, as an audio receiver, the system
// audio captured along with it).
class MacCaptureObserver : public SystemAudioReceiver {};

} // namespace MC

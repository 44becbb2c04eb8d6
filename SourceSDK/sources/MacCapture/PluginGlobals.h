#pragma once
#include "MacCaptureManager.h"
#include "MacSystemAudio/SystemAudioDevice.h"

// The objects QCP_IntitializeLibrary creates and QCP_UninitializeLibrary
// destroys; null outside that span.
extern MC::MacCaptureManager* g_pMacCaptureManager;
extern MC::SystemAudioDevice* g_MacSystemAudioCapture;

namespace qcp {
// The objects, for entry points that need them: called before the library is
// initialised (outside the host's contract) they throw, and the entry point's
// guard turns that into its neutral answer instead of a crash.
MC::MacCaptureManager& Manager();
MC::SystemAudioDevice& SystemAudio();
} // namespace qcp

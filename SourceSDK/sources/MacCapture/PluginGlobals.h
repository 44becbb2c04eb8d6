#pragma once
#include "MacCaptureManager.h"
#include "MacSystemAudio/SystemAudioDevice.h"

// The objects QCP_IntitializeLibrary creates and QCP_UninitializeLibrary
// destroys; null outside that span.
extern MC::MacCaptureManager* g_pMacCaptureManager;
extern MC::SystemAudioDevice* g_MacSystemAudioCapture;

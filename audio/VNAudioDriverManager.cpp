#include "VNAudioDriverManager.h"

// The device look-up that finds the driver arrives with the audio device
// helpers. Until then no driver device can be found, which is also the truth
// on a machine without the driver: it reads as not installed, and the install
// prompt, which needs the installer packages and the alert seam of that
// layer, is not shown.
bool VNAudioDriverManager::isInstalled() { return false; }

bool VNAudioDriverManager::needsUpdate() { return !isInstalled(); }

void VNAudioDriverManager::checkAndPromptToInstall(Completion, bool) {}

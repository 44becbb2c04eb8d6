#pragma once
#include "SimAudioState.h"

// The property interface over the simulated sound system's state: what each
// object answers for each address, with CoreAudio's statuses. Called with
// the state's lock held; changes made are appended for the listeners.
namespace qcp::coreaudio::sim {

bool HasProperty(const SimAudioState& state, AudioObjectID object, const AudioObjectPropertyAddress& address);
OSStatus IsPropertySettable(const SimAudioState& state, AudioObjectID object,
                            const AudioObjectPropertyAddress& address, bool& settable);
OSStatus GetPropertyDataSize(const SimAudioState& state, AudioObjectID object,
                             const AudioObjectPropertyAddress& address, UInt32 qualifierSize, const void* qualifier,
                             UInt32& size);
// Not const: the CoreAudio plug-in creates and destroys aggregate devices
// through reads.
OSStatus GetPropertyData(SimAudioState& state, AudioObjectID object, const AudioObjectPropertyAddress& address,
                         UInt32 qualifierSize, const void* qualifier, UInt32& size, void* data,
                         SimAudioChanges& changes);
OSStatus SetPropertyData(SimAudioState& state, AudioObjectID object, const AudioObjectPropertyAddress& address,
                         UInt32 size, const void* data, SimAudioChanges& changes);

} // namespace qcp::coreaudio::sim

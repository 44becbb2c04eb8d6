#pragma once
// Finding an audio component by its description and making instances of it.
#include "CoreAudio/CoreAudioTypes.h"

typedef FourCharCode OSType;

// What is looked for: type, subtype and manufacturer, 0 matching any.
struct AudioComponentDescription {
    OSType componentType;
    OSType componentSubType;
    OSType componentManufacturer;
    UInt32 componentFlags;
    UInt32 componentFlagsMask;
};

typedef struct OpaqueAudioComponent* AudioComponent;
typedef struct ComponentInstanceRecord* AudioComponentInstance;

enum : OSStatus {
    kAudioComponentErr_InstanceInvalidated = -66749,
};

extern "C" {
// The first component after `inComponent` (null: from the start) that
// matches `inDesc`; null when none does.
AudioComponent AudioComponentFindNext(AudioComponent inComponent, const AudioComponentDescription* inDesc);
OSStatus AudioComponentGetDescription(AudioComponent inComponent, AudioComponentDescription* outDesc);
OSStatus AudioComponentInstanceNew(AudioComponent inComponent, AudioComponentInstance* outInstance);
OSStatus AudioComponentInstanceDispose(AudioComponentInstance inInstance);
}

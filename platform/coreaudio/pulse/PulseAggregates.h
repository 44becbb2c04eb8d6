#pragma once
#include <string>
#include <vector>

#include "CoreAudio/AudioHardware.h"

// Aggregate devices on the sound server: each is a combine sink named with
// the aggregate's UID and described with its name, playing to the sinks
// named by its sub-device UIDs (to every sink while it has none, as the
// module does). Made and destroyed through the CoreAudio plug-in object,
// whose id is fixed.
namespace qcp::coreaudio::pulse {

inline constexpr AudioObjectID kPlugInID = 16;

// Whether `address` of `object` makes or destroys an aggregate.
bool IsAggregateAction(AudioObjectID object, const AudioObjectPropertyAddress& address);

struct AggregateDescription {
    std::string uid; // empty when the description has none or is no dictionary
    std::string name;
};
// A creation's qualifier: a CFDictionaryRef with the name and UID keys.
AggregateDescription DescriptionOf(UInt32 qualifierSize, const void* qualifier);
// The combine sink's module arguments.
std::string CombineSinkArguments(const AggregateDescription& description, const std::vector<std::string>& sinks);

} // namespace qcp::coreaudio::pulse

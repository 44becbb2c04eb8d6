#include <string>

#include "vnAudioHelper.h"

namespace {

// A HAL status from its four characters, first in the most significant byte.
constexpr int Code(const char (&fourCC)[5]) {
    return static_cast<int>((unsigned(fourCC[0]) << 24) | (unsigned(fourCC[1]) << 16) | (unsigned(fourCC[2]) << 8) |
                            unsigned(fourCC[3]));
}

const char* AudioUnitDescription(int code) {
    switch (code) {
    case -10879: return "The audio unit property is not supported.";
    case -10878: return "The audio unit parameter is not supported.";
    case -10877: return "The audio unit element is invalid.";
    case -10876: return "The audio unit has no connection.";
    case -10875: return "The audio unit could not be initialized.";
    case -10874: return "The audio unit received more than the maximum number of frames.";
    case -10871: return "The audio unit could not find a required external file to use as a data source.";
    case -10870: return "The audio unit encountered an unknown type of external file data source.";
    case -10869: return "The audio unit requires an external file data source but none was supplied.";
    case -10868: return "The audio unit does not support the requested format.";
    case -10867: return "The audio unit has not been initialized.";
    case -10866: return "The audio unit's specified scope is invalid.";
    case -10865: return "The audio unit property can not be written.";
    case -10863: return "The audio unit can not perform the requested action while in its current state.";
    case -10851: return "The audio unit encountered an invalid value for the specified property.";
    case -10850: return "The audio unit has a property that has not been set to a valid value.";
    case -10849:
        return "The audio unit could not perform the requested action because it has already been initialized.";
    case -10848: return "The audio unit's offline render operation is invalid.";
    case -10847: return "The audio unit is not authorized.";
    case -66754: return "The audio unit instance timed out.";
    case -66753: return "The audio unit's MIDI output buffer is full.";
    case -66749:
        return "The audio unit instance's implementation is not available, most likely because the process that "
               "published it is no longer running.";
    case -66745: return "The audio unit did not satisfy the render request in time.";
    case -66744: return "The specified identifier did not match any Audio Unit Extensions.";
    case -66743: return "The audio unit's parameter value is invalid.";
    case -66742:
        return "The supplied file path is not supported, either because it is too long or contains invalid "
               "characters.";
    case -66741: return "A required key is missing from a dictionary object.";
    default: return nullptr;
    }
}

const char* HardwareDescription(int code) {
    switch (code) {
    case Code("stop"): return "The function call requires that the hardware be running but it isn't.";
    case Code("what"): return "The function call failed while doing something that doesn't provide any error messages.";
    case Code("who?"): return "The AudioObject doesn't know about the property at the given address.";
    case Code("!siz"): return "An improperly sized buffer was provided when accessing the data of a property.";
    case Code("!obj"): return "The AudioObjectID passed to the function doesn't map to a valid AudioObject.";
    case Code("nope"): return "The requested operation couldn't be completed.";
    case Code("!dev"): return "The AudioObjectID passed to the function doesn't map to a valid AudioDevice.";
    case Code("!str"): return "The AudioObjectID passed to the function doesn't map to a valid AudioStream.";
    case Code("unop"): return "The AudioObject doesn't support the requested operation.";
    case Code("!dat"): return "The AudioStream doesn't support the requested format.";
    case Code("!hog"): return "The requested operation can't be completed because the process doesn't have permission.";
    default: return nullptr;
    }
}

} // namespace

std::string vnAudioHelper_DescriptionForError(int code) {
    if (const char* text = AudioUnitDescription(code)) return text;
    if (const char* text = HardwareDescription(code)) return text;
    return "(" + std::to_string(code) + ")";
}

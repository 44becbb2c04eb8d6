#pragma once
#include <string>

#include "vnAudioHelper.h"
#include "zMessages.h"

// Traces a failed CoreAudio call: `prefix` (which ends in ". ", with `{}`
// for `args`) followed by the status's description.
template <class... Args>
void vnAudioTraceFailure(OSStatus status, const std::string& prefix, const Args&... args) {
    zTrace(prefix + "{}", args..., vnAudioHelper_DescriptionForError(status));
}

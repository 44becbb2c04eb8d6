#pragma once
#include <string>

#include "AudioRecorder.h"

namespace qcphost {

// How a finished audio recording is told: a JSON object for summary.json and
// lines for the terminal. Plain functions of a recorder on which Finish has
// returned; any thread.
std::string AudioJson(const AudioRecorder& recorder);
std::string AudioLines(const AudioRecorder& recorder);
// The reason the recording failed, or the empty text when it did not.
std::string AudioFailure(const AudioRecorder& recorder);

} // namespace qcphost

#pragma once
#include <string>

#include "zRecord.h"

namespace MC {

class MacCaptureManager;

// The settings record of a screen source: a "settings" record with one
// "parameter" child (fields "name" and "value") per setting.
namespace SourceSettings {

// Fills `settings` from the source's current choices.
void Write(MacCaptureManager& manager, const std::string& id, zRecord& settings);

// Applies a settings record in its fixed order and restarts the capture.
void Apply(MacCaptureManager& manager, const std::string& id, const zRecord& settings);

// The parameters the host may offer: "capture_video", then "Type" with its
// three options and "cursor" while the source captures video, then
// "capture_audio".
void WriteParameterList(bool capturesVideo, zRecord& list);

} // namespace SourceSettings
} // namespace MC

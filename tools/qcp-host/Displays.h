#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "PluginLibrary.h"

namespace qcphost {

// One display as the plug-in lists it, in the platform's screen order.
struct DisplayInfo {
    int index = 0;   // what --display and "capture_monitor" take; 0 the main display
    uint32_t id = 0; // the platform's 32-bit display id
    std::string name;
    double width = 0, height = 0; // points
    double scale = 1;             // pixels per point
};

// The plug-in's "ScreenCaptureDisplays" record; empty when it does not
// answer or there is no display.
std::vector<DisplayInfo> ReadDisplays(PluginLibrary& plugin);
// The record's text; a display whose fields are not all valid is left out.
std::vector<DisplayInfo> ParseDisplays(const std::string& xml);

// The display with that index, or null.
const DisplayInfo* FindDisplay(const std::vector<DisplayInfo>& displays, int index);

// Why a region (inclusive edges, in the display's points from its top-left
// corner) cannot be captured on the display: empty when it lies inside it,
// else one line saying it has no area, lies outside or extends past it.
std::string RegionProblem(const DisplayInfo& display, int32_t left, int32_t top, int32_t right, int32_t bottom);

// Why `index` names none of `displays` (which are not empty).
std::string NoSuchDisplayMessage(const std::vector<DisplayInfo>& displays, int index);

// Why the plug-in may list no displays, from QCP_PLATFORM and DISPLAY (either
// null when unset).
std::string NoDisplaysMessage(const char* platform, const char* display);

} // namespace qcphost

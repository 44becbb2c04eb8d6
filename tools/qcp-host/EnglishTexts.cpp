#include "EnglishTexts.h"

#include <cstring>

namespace qcphost {
namespace {

struct Text {
    const char* key;
    const char* english;
};

constexpr Text kTexts[] = {
    // Device and source names.
    {"obr_capture_name", "Screen Capture"},
    {"obr_system_audio_name", "System Audio"},
    // A capture type changed while the selection window is open.
    {"obr_close_mon_win_dialog", "The capture selection is still open"},
    {"obr_close_mon_win_dialog_msg",
     "Close the display and window selection before changing what this source captures."},
    {"dialog_ok", "OK"},
    // The region selector overlay's instruction.
    {"obr_select_screen_region_message",
     "Drag the rectangle or its handles, then press Return to capture it, or Escape."},
    // Logged when the system refuses screen recording.
    {"p_screen_record_deny_msg",
     "Screen recording is not allowed: allow it for this application in the system's privacy settings, then start "
     "the capture again."},
    // The selection window.
    {"obr_capture_win_window_title", "Choose a Window"},
    {"obr_capture_process_title", "Application:"},
    {"obr_capture_window_text_title", "Window:"},
    {"obr_capture_refresh_title", "Refresh"},
    {"obr_capture_mon_window_title", "Choose a Display"},
    {"obr_capture_monitor_title", "Display:"},
    {"obr_capture_ok", "OK"},
    {"obr_capture_cancel", "Cancel"},
    {"obr_capture_region", "Select Region\u2026"},
    {"obr_capture_selection_fullscreen", "Full Screen"},
    {"obr_capture_selection_region", "Region"},
    {"obr_mon_invalid", "This display cannot be used"},
    {"obr_mon_invalid_msg", "It is no longer connected. Choose another display."},
    // The audio capture driver's prompt.
    {"mac_audio_driver_install_required", "Install the audio capture driver?"},
    {"mac_audio_driver_install_required_details",
     "Capturing the system's sound needs the audio capture driver, which is not installed."},
    {"mac_audio_driver_install_button_title", "Install"},
    {"mac_audio_driver_update_required", "Update the audio capture driver?"},
    {"mac_audio_driver_update_required_details",
     "The installed audio capture driver is older than this plug-in needs; capturing the system's sound needs the "
     "current one."},
    {"mac_audio_driver_update_button_title", "Update"},
    {"mac_audio_driver_cancel_button_title", "Cancel"},
};

} // namespace

const char* EnglishText(const char* key) {
    if (!key) return key;
    for (const Text& text : kTexts)
        if (std::strcmp(text.key, key) == 0) return text.english;
    return key;
}

} // namespace qcphost

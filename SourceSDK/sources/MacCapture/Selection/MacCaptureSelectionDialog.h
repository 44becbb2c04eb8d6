#pragma once
#include <cstdint>
#include <memory>

#include "System.h"
#include "zRect.h"

namespace MC {

// How a capture is framed on a display: kCaptureWholeDisplay (0) or
// kCaptureRegion (1), the entries of the dialog's selection list
// (MacCaptureSourceSDKInfo.h).
enum eCaptureMode : int32_t;

// The plain handle through which the plug-in opens the capture selection
// window and hears the user's answer.
//
// The show calls may be made from any thread but the main queue's blocked
// one: the window is brought forward by a synchronous dispatch to the main
// queue, and they return once it is. The answer comes once per window, on the
// main queue, through the callback. Only one window is tracked: a second show
// replaces the first in the handle's record. Where the platform has no user
// interface nothing is shown and the callback never comes.
class MacCaptureSelectionDialog {
public:
    enum eUserResponse { kUserResponseOK = 0, kUserResponseCancel = 1 };

    // Window mode: `id` is the chosen window's id and `region` null. Monitor
    // mode: `id` is the display's index and `region` the chosen region, or
    // null for the full screen. Cancel: (1, 0, null).
    using Callback = void (*)(eUserResponse response, int id, const zRect* region, void* userInfo);

    MacCaptureSelectionDialog();
    ~MacCaptureSelectionDialog(); // closes an open window without calling its callback
    MacCaptureSelectionDialog(const MacCaptureSelectionDialog&) = delete;
    MacCaptureSelectionDialog& operator=(const MacCaptureSelectionDialog&) = delete;

    // Whether a window is open now.
    bool isOpen() const;

    // The application and window picker; `game` picks a full-screen game.
    // True when a window is shown (and its callback will come once).
    bool showWindowSelection(int windowID, bool game, Callback callback, void* userInfo);
    // The display picker, with the display's remembered region; true as above.
    bool showMonitorSelection(int monitorIndex, eCaptureMode mode, const zRect* region, Callback callback,
                              void* userInfo);
    // An alert attached to the open window; false when none is open.
    bool showAlertSheet(const qcp::platform::Alert& alert);
    // Cancels an open window: its callback hears (1, 0, null).
    void closeSelectionWindow();

private:
    struct Record;
    std::shared_ptr<Record> fRecord;
};

} // namespace MC

#pragma once
#include <memory>
#include <string>

#include "MainQueueLink.h"
#include "SelectionUI.h"

namespace qcp::platform::mac {

// The selection window in AppKit, built in code: the window mode (application
// and window lists, Refresh, Cancel, OK) or the monitor mode (display and
// full-screen or region lists, Region, Cancel, OK), as the core's state says.
// OK is the default button: Return, or a double click on an entry, presses
// it when it is enabled; Escape presses Cancel; typing over a list finds its
// entry; the close box reports the window closed by the user, and the core
// closes it. Alerts are sheets on it.
//
// The view lives on the main queue and posts everything to AppKit's main
// thread, where its window lives; it never waits for it. The user's input
// goes back through a MainQueueLink.
class MacSelectionWindow final : public SelectionWindowView {
public:
    explicit MacSelectionWindow(SelectionWindowInput& input);
    ~MacSelectionWindow() override;
    MacSelectionWindow(const MacSelectionWindow&) = delete;
    MacSelectionWindow& operator=(const MacSelectionWindow&) = delete;

    void Show(const SelectionWindowState& state) override;
    void Update(const SelectionWindowState& state) override;
    void ShowAlertSheet(const std::string& message, const std::string& informativeText,
                        const std::string& button) override;

private:
    std::shared_ptr<MainQueueLink<SelectionWindowInput>> fLink;
    void* fController; // a retained QCPSelectionController, used on AppKit's main thread only
};

} // namespace qcp::platform::mac

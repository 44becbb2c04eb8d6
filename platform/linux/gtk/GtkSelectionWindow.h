#pragma once
#include <memory>
#include <string>

#include "GtkLoop.h"
#include "MainQueueLink.h"
#include "SelectionUI.h"

namespace qcp::platform::gtk {

// The selection window in GTK: the window mode (application and window
// lists, Refresh, Cancel, OK) or the monitor mode (display and full-screen or
// region lists, Region, Cancel, OK), as the core's state says. OK is the
// default button: Return, or a double click on an entry, presses it when it
// is enabled; Escape presses Cancel. Typing over a list finds its entry.
//
// The view lives on the main queue and posts everything to GTK's thread,
// where its widgets live; it never waits for them. The user's input goes
// back through a MainQueueLink. Without a display the window reports itself
// closed by the user, so the core answers as cancelled.
class GtkSelectionWindow final : public SelectionWindowView {
public:
    GtkSelectionWindow(GtkLoop& loop, SelectionWindowInput& input);
    ~GtkSelectionWindow() override;

    void Show(const SelectionWindowState& state) override;
    void Update(const SelectionWindowState& state) override;
    void ShowAlertSheet(const std::string& message, const std::string& informativeText,
                        const std::string& button) override;

private:
    class Widgets; // GTK's thread only

    GtkLoop::Use fUse;
    std::shared_ptr<MainQueueLink<SelectionWindowInput>> fLink;
    std::shared_ptr<Widgets> fWidgets;
};

} // namespace qcp::platform::gtk

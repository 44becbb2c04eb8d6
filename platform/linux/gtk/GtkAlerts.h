#pragma once
#include "GtkLoop.h"
#include "System.h"

typedef struct _GtkWidget GtkWidget;
typedef struct _GtkWindow GtkWindow;

// Alerts as GTK message dialogs: the message as the main text, the
// informative text under it, and the buttons laid out from right to left,
// the first rightmost and the default (Return). A dialog's response is the
// index of the button pressed, or negative when it was closed otherwise.
namespace qcp::platform::gtk {

// GTK's thread: shows a new dialog that goes once answered; modal to
// `parent` when there is one.
GtkWidget* ShowAlertDialog(GtkWindow* parent, const Alert& alert);

// Any thread: shows a free-standing alert and returns at once; it closes
// when answered.
void ShowAlert(GtkLoop& loop, const Alert& alert);

// Any thread: shows a modal alert and waits for the answer (the index of
// the button, -1 when the alert was closed or cannot be shown). On GTK's
// thread it runs a nested loop, as GTK's own modal dialogs do.
int RunModalAlert(GtkLoop& loop, const Alert& alert);

} // namespace qcp::platform::gtk

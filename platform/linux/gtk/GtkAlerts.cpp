#include "GtkAlerts.h"

#include <gtk/gtk.h>

#include <future>
#include <memory>

#include "zQueue.h"

namespace qcp::platform::gtk {
namespace {

int Answer(int response) { return response >= 0 ? response : -1; }

void LetGo(GtkWidget*, gpointer use) {
    zQueue::Main().Async([use = static_cast<GtkLoop::Use*>(use)] { delete use; });
}

// A new dialog, not yet shown; attached to `parent` (a sheet) when there is one.
GtkWidget* MakeAlertDialog(GtkWindow* parent, const Alert& alert) {
    GtkWidget* dialog = gtk_message_dialog_new(parent, parent ? GTK_DIALOG_DESTROY_WITH_PARENT : GtkDialogFlags(0),
                                               GTK_MESSAGE_WARNING, GTK_BUTTONS_NONE, "%s", alert.message.c_str());
    if (!alert.informativeText.empty())
        gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(dialog), "%s", alert.informativeText.c_str());
    // GTK lays buttons out in the order added: the last added is rightmost.
    for (int index = int(alert.buttons.size()) - 1; index >= 0; --index)
        gtk_dialog_add_button(GTK_DIALOG(dialog), alert.buttons[size_t(index)].c_str(), index);
    if (!alert.buttons.empty()) gtk_dialog_set_default_response(GTK_DIALOG(dialog), 0);
    gtk_window_set_keep_above(GTK_WINDOW(dialog), TRUE);
    return dialog;
}

} // namespace

GtkWidget* ShowAlertDialog(GtkWindow* parent, const Alert& alert) {
    GtkWidget* dialog = MakeAlertDialog(parent, alert);
    if (parent) gtk_window_set_modal(GTK_WINDOW(dialog), TRUE);
    g_signal_connect(dialog, "response", G_CALLBACK(+[](GtkDialog* answered, int, gpointer) {
                         gtk_widget_destroy(GTK_WIDGET(answered));
                     }),
                     nullptr);
    gtk_widget_show_all(dialog);
    return dialog;
}

void ShowAlert(GtkLoop& loop, const Alert& alert) {
    // The Use keeps GTK running until the alert is answered. It is let go on
    // the main queue, never on GTK's thread: releasing the last one joins it.
    auto* use = new GtkLoop::Use(loop);
    use->Post([use, alert] {
        if (!GtkLoop::Ready()) {
            LetGo(nullptr, use);
            return;
        }
        g_signal_connect(ShowAlertDialog(nullptr, alert), "destroy", G_CALLBACK(LetGo), use);
    });
}

int RunModalAlert(GtkLoop& loop, const Alert& alert) {
    GtkLoop::Use use(loop);
    if (GtkLoop::IsCurrent()) {
        if (!GtkLoop::Ready()) return -1;
        GtkWidget* dialog = MakeAlertDialog(nullptr, alert);
        const int response = gtk_dialog_run(GTK_DIALOG(dialog));
        gtk_widget_destroy(dialog);
        return Answer(response);
    }
    auto answer = std::make_shared<std::promise<int>>();
    std::future<int> answered = answer->get_future();
    use.Post([answer, alert] {
        if (!GtkLoop::Ready()) {
            answer->set_value(-1);
            return;
        }
        GtkWidget* dialog = MakeAlertDialog(nullptr, alert);
        gtk_window_set_modal(GTK_WINDOW(dialog), TRUE);
        auto* held = new std::shared_ptr<std::promise<int>>(answer);
        g_signal_connect_data(
            dialog, "response", G_CALLBACK(+[](GtkDialog* answeredDialog, int response, gpointer data) {
                (*static_cast<std::shared_ptr<std::promise<int>>*>(data))->set_value(Answer(response));
                g_signal_handlers_disconnect_matched(answeredDialog, G_SIGNAL_MATCH_DATA, 0, 0, nullptr, nullptr, data);
                gtk_widget_destroy(GTK_WIDGET(answeredDialog));
            }),
            held, +[](gpointer data, GClosure*) { delete static_cast<std::shared_ptr<std::promise<int>>*>(data); },
            GConnectFlags(0));
        gtk_widget_show_all(dialog);
    });
    return answered.get();
}

} // namespace qcp::platform::gtk

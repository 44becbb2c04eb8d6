#include "GtkSelectionWindow.h"

#include <gtk/gtk.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "GtkAlerts.h"

namespace qcp::platform::gtk {
namespace {

using Link = MainQueueLink<SelectionWindowInput>;

constexpr int kBorder = 12;
constexpr int kSpacing = 6;
constexpr int kListHeight = 140;

} // namespace

class GtkSelectionWindow::Widgets {
public:
    explicit Widgets(std::shared_ptr<Link> link) : fLink(std::move(link)) {}
    ~Widgets() {
        if (fWindow) gtk_widget_destroy(fWindow);
    }
    Widgets(const Widgets&) = delete;
    Widgets& operator=(const Widgets&) = delete;

    void Show(const SelectionWindowState& state) {
        if (!GtkLoop::Ready()) {
            // Nothing can be shown: the user could only have closed it.
            Link::Send(fLink, [](SelectionWindowInput& input) { input.ClosedByUser(); });
            return;
        }
        Build();
        // Everything shown, then the other mode's page hidden, before the
        // window maps: its size is then that of the one page.
        gtk_widget_show_all(gtk_bin_get_child(GTK_BIN(fWindow)));
        Update(state);
        gtk_widget_grab_focus(GTK_WIDGET(List(state.windowMode ? SelectionWidget::ProcessList
                                                                 : SelectionWidget::MonitorList).view));
        gtk_window_present(GTK_WINDOW(fWindow));
    }

    void Update(const SelectionWindowState& state) {
        if (!fWindow) return;
        gtk_window_set_title(GTK_WINDOW(fWindow), state.title.c_str());
        gtk_widget_set_visible(fWindowMode, state.windowMode);
        gtk_widget_set_visible(fMonitorMode, !state.windowMode);
        ShowCaption(fProcessText, state.processText);
        ShowCaption(fWindowText, state.windowText);
        ShowCaption(fMonitorText, state.monitorText);
        ShowCaption(fSelectionText, state.selectionText);
        for (ListWidget& list : fLists) ShowList(list, *state.list(list.id));
        for (ButtonWidget& button : fButtons) {
            const SelectionButton& shown = *state.button(button.id);
            gtk_button_set_label(button.button, shown.text.c_str());
            gtk_widget_set_sensitive(GTK_WIDGET(button.button), shown.enabled);
        }
        // OK is the default button of whichever mode shows.
        GtkWidget* ok = GTK_WIDGET(Button(state.windowMode ? SelectionWidget::WindowOK : SelectionWidget::MonitorOK));
        gtk_widget_set_can_default(ok, TRUE);
        gtk_window_set_default(GTK_WINDOW(fWindow), ok);
    }

    void Sheet(const Alert& alert) {
        if (!fWindow) return;
        ShowAlertDialog(GTK_WINDOW(fWindow), alert);
    }

private:
    struct ListWidget {
        SelectionWidget id;
        Widgets* owner = nullptr;
        GtkListStore* store = nullptr;
        GtkTreeView* view = nullptr;
        gulong changed = 0; // the selection's handler, blocked while the core's state is shown
        std::vector<std::string> items;
    };
    struct ButtonWidget {
        SelectionWidget id;
        Widgets* owner = nullptr;
        GtkButton* button = nullptr;
    };

    ListWidget& List(SelectionWidget id) {
        for (ListWidget& list : fLists)
            if (list.id == id) return list;
        return fLists[0];
    }
    GtkButton* Button(SelectionWidget id) {
        for (ButtonWidget& button : fButtons)
            if (button.id == id) return button.button;
        return fButtons[0].button;
    }

    void Build() {
        fWindow = gtk_window_new(GTK_WINDOW_TOPLEVEL);
        gtk_window_set_position(GTK_WINDOW(fWindow), GTK_WIN_POS_CENTER);
        gtk_window_set_default_size(GTK_WINDOW(fWindow), 480, 440);
        gtk_window_set_keep_above(GTK_WINDOW(fWindow), TRUE);
        g_signal_connect(fWindow, "delete-event", G_CALLBACK(ClosedByFrame), this);
        g_signal_connect(fWindow, "key-press-event", G_CALLBACK(KeyPressed), this);

        GtkWidget* modes = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
        gtk_container_add(GTK_CONTAINER(fWindow), modes);
        fWindowMode = BuildMode(modes, fProcessText, SelectionWidget::ProcessList, fWindowText,
                                SelectionWidget::WindowList,
                                {SelectionWidget::RefreshButton, SelectionWidget::WindowCancel, SelectionWidget::WindowOK});
        fMonitorMode = BuildMode(modes, fMonitorText, SelectionWidget::MonitorList, fSelectionText,
                                 SelectionWidget::SelectionList,
                                 {SelectionWidget::RegionButton, SelectionWidget::MonitorCancel, SelectionWidget::MonitorOK});
    }

    // A mode's page: a caption and a list, another caption and list, and a
    // row with the mode's own button on the left and Cancel, OK on the right.
    GtkWidget* BuildMode(GtkWidget* modes, GtkLabel*& firstText, SelectionWidget firstList, GtkLabel*& secondText,
                         SelectionWidget secondList, std::array<SelectionWidget, 3> buttons) {
        GtkWidget* page = gtk_box_new(GTK_ORIENTATION_VERTICAL, kSpacing);
        gtk_container_set_border_width(GTK_CONTAINER(page), kBorder);
        gtk_box_pack_start(GTK_BOX(modes), page, TRUE, TRUE, 0);
        firstText = AddCaption(page);
        AddList(page, firstList);
        secondText = AddCaption(page);
        AddList(page, secondList);
        GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, kSpacing);
        gtk_widget_set_margin_top(row, kSpacing);
        gtk_box_pack_start(GTK_BOX(page), row, FALSE, FALSE, 0);
        gtk_box_pack_start(GTK_BOX(row), AddButton(buttons[0]), FALSE, FALSE, 0);
        gtk_box_pack_end(GTK_BOX(row), AddButton(buttons[2]), FALSE, FALSE, 0);
        gtk_box_pack_end(GTK_BOX(row), AddButton(buttons[1]), FALSE, FALSE, 0);
        return page;
    }

    static GtkLabel* AddCaption(GtkWidget* page) {
        GtkWidget* label = gtk_label_new("");
        gtk_label_set_xalign(GTK_LABEL(label), 0);
        gtk_box_pack_start(GTK_BOX(page), label, FALSE, FALSE, 0);
        return GTK_LABEL(label);
    }

    void AddList(GtkWidget* page, SelectionWidget id) {
        ListWidget& list = *std::find_if(fLists.begin(), fLists.end(), [](const ListWidget& free) { return !free.owner; });
        list.id = id;
        list.owner = this;
        list.store = gtk_list_store_new(1, G_TYPE_STRING);
        list.view = GTK_TREE_VIEW(gtk_tree_view_new_with_model(GTK_TREE_MODEL(list.store)));
        g_object_unref(list.store); // the view holds it
        gtk_tree_view_set_headers_visible(list.view, FALSE);
        gtk_tree_view_set_search_column(list.view, 0);
        gtk_tree_view_append_column(
            list.view, gtk_tree_view_column_new_with_attributes("", gtk_cell_renderer_text_new(), "text", 0, nullptr));
        GtkTreeSelection* selection = gtk_tree_view_get_selection(list.view);
        gtk_tree_selection_set_mode(selection, GTK_SELECTION_SINGLE);
        list.changed = g_signal_connect(selection, "changed", G_CALLBACK(SelectionChanged), &list);
        g_signal_connect(list.view, "row-activated", G_CALLBACK(RowActivated), this);

        GtkWidget* scrolled = gtk_scrolled_window_new(nullptr, nullptr);
        gtk_scrolled_window_set_shadow_type(GTK_SCROLLED_WINDOW(scrolled), GTK_SHADOW_IN);
        gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scrolled), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
        gtk_scrolled_window_set_min_content_height(GTK_SCROLLED_WINDOW(scrolled), kListHeight);
        gtk_container_add(GTK_CONTAINER(scrolled), GTK_WIDGET(list.view));
        gtk_box_pack_start(GTK_BOX(page), scrolled, TRUE, TRUE, 0);
    }

    GtkWidget* AddButton(SelectionWidget id) {
        ButtonWidget& button =
            *std::find_if(fButtons.begin(), fButtons.end(), [](const ButtonWidget& free) { return !free.owner; });
        button.id = id;
        button.owner = this;
        button.button = GTK_BUTTON(gtk_button_new_with_label(""));
        g_signal_connect(button.button, "clicked", G_CALLBACK(Clicked), &button);
        return GTK_WIDGET(button.button);
    }

    // A caption without text takes no room.
    static void ShowCaption(GtkLabel* label, const std::string& text) {
        gtk_label_set_text(label, text.c_str());
        gtk_widget_set_visible(GTK_WIDGET(label), !text.empty());
    }

    // Shows the core's list without the changes reading as the user's.
    static void ShowList(ListWidget& list, const SelectionList& shown) {
        GtkTreeSelection* selection = gtk_tree_view_get_selection(list.view);
        g_signal_handler_block(selection, list.changed);
        if (list.items != shown.items) {
            gtk_list_store_clear(list.store);
            for (const std::string& item : shown.items)
                gtk_list_store_insert_with_values(list.store, nullptr, -1, 0, item.c_str(), -1);
            list.items = shown.items;
        }
        if (shown.selected >= 0 && shown.selected < int(shown.items.size())) {
            GtkTreePath* path = gtk_tree_path_new_from_indices(shown.selected, -1);
            gtk_tree_selection_select_path(selection, path);
            gtk_tree_view_scroll_to_cell(list.view, path, nullptr, FALSE, 0, 0);
            gtk_tree_path_free(path);
        } else {
            gtk_tree_selection_unselect_all(selection);
        }
        gtk_widget_set_sensitive(GTK_WIDGET(list.view), shown.enabled);
        g_signal_handler_unblock(selection, list.changed);
    }

    static void SelectionChanged(GtkTreeSelection* selection, gpointer data) {
        const ListWidget& list = *static_cast<ListWidget*>(data);
        GtkTreeModel* model = nullptr;
        GtkTreeIter row;
        if (!gtk_tree_selection_get_selected(selection, &model, &row)) return;
        GtkTreePath* path = gtk_tree_model_get_path(model, &row);
        const int index = gtk_tree_path_get_indices(path)[0];
        gtk_tree_path_free(path);
        Link::Send(list.owner->fLink, [id = list.id, index](SelectionWindowInput& input) { input.Chose(id, index); });
    }

    static void Clicked(GtkButton*, gpointer data) {
        const ButtonWidget& button = *static_cast<ButtonWidget*>(data);
        Link::Send(button.owner->fLink, [id = button.id](SelectionWindowInput& input) { input.Pressed(id); });
    }

    // A double click or Return on an entry presses the default button.
    static void RowActivated(GtkTreeView*, GtkTreePath*, GtkTreeViewColumn*, gpointer data) {
        gtk_window_activate_default(GTK_WINDOW(static_cast<Widgets*>(data)->fWindow));
    }

    static gboolean KeyPressed(GtkWidget*, GdkEventKey* event, gpointer data) {
        if (event->keyval != GDK_KEY_Escape) return FALSE;
        Widgets& widgets = *static_cast<Widgets*>(data);
        const bool windowMode = gtk_widget_get_visible(widgets.fWindowMode);
        gtk_widget_activate(
            GTK_WIDGET(widgets.Button(windowMode ? SelectionWidget::WindowCancel : SelectionWidget::MonitorCancel)));
        return TRUE;
    }

    static gboolean ClosedByFrame(GtkWidget*, GdkEvent*, gpointer data) {
        Link::Send(static_cast<Widgets*>(data)->fLink, [](SelectionWindowInput& input) { input.ClosedByUser(); });
        return TRUE; // the core closes it
    }

    std::shared_ptr<Link> fLink;
    GtkWidget* fWindow = nullptr;
    GtkWidget* fWindowMode = nullptr;
    GtkWidget* fMonitorMode = nullptr;
    GtkLabel* fProcessText = nullptr;
    GtkLabel* fWindowText = nullptr;
    GtkLabel* fMonitorText = nullptr;
    GtkLabel* fSelectionText = nullptr;
    std::array<ListWidget, 4> fLists{};
    std::array<ButtonWidget, 6> fButtons{};
};

GtkSelectionWindow::GtkSelectionWindow(GtkLoop& loop, SelectionWindowInput& input)
    : fUse(loop), fLink(std::make_shared<Link>(input)), fWidgets(std::make_shared<Widgets>(fLink)) {}

GtkSelectionWindow::~GtkSelectionWindow() {
    fLink->Cut();
    // The widgets go on GTK's thread, with the last work that holds them.
    fUse.Post([widgets = std::move(fWidgets)]() mutable { widgets.reset(); });
}

void GtkSelectionWindow::Show(const SelectionWindowState& state) {
    fUse.Post([widgets = fWidgets, state] { widgets->Show(state); });
}

void GtkSelectionWindow::Update(const SelectionWindowState& state) {
    fUse.Post([widgets = fWidgets, state] { widgets->Update(state); });
}

void GtkSelectionWindow::ShowAlertSheet(const std::string& message, const std::string& informativeText,
                                        const std::string& button) {
    Alert alert{message, informativeText, {}};
    if (!button.empty()) alert.buttons.push_back(button);
    fUse.Post([widgets = fWidgets, alert] { widgets->Sheet(alert); });
}

} // namespace qcp::platform::gtk

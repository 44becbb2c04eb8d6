#include "GtkLoop.h"

#include <gtk/gtk.h>

#include <atomic>
#include <cassert>

#include "zThread.h"

namespace qcp::platform::gtk {
namespace {

std::atomic<bool> sReady{false};

// On GTK's thread, before any other work of a new Use: GTK against the same
// X server as the rest of the platform. A failed start (no display) is tried
// again by the next window.
void InitialiseGtk() {
    if (sReady) return;
    gdk_set_allowed_backends("x11");
    sReady = gtk_init_check(nullptr, nullptr);
}

gboolean RunPosted(gpointer data) {
    (*static_cast<GtkLoop::Work*>(data))();
    return G_SOURCE_REMOVE;
}

void DeletePosted(gpointer data) { delete static_cast<GtkLoop::Work*>(data); }

} // namespace

GtkLoop::~GtkLoop() {
    std::lock_guard lock(fMutex);
    assert(fUses == 0 && !fThread.joinable());
}

GtkLoop::Use::Use(GtkLoop& loop) : fLoop(loop) { fLoop.Acquire(); }

GtkLoop::Use::~Use() { fLoop.Release(); }

void GtkLoop::Use::Post(Work work) const { fLoop.Post(std::move(work)); }

bool GtkLoop::Ready() { return sReady; }

bool GtkLoop::IsCurrent() { return g_main_context_is_owner(g_main_context_default()); }

void GtkLoop::Acquire() {
    std::lock_guard lock(fMutex);
    if (fUses++ > 0) return;
    // Nobody owns the default context: no loop turns it, so the plug-in runs
    // one. Owned by another thread: the host's loop, which GTK then shares.
    GMainContext* context = g_main_context_default();
    if (g_main_context_acquire(context)) {
        g_main_context_release(context);
        fOwnLoop = g_main_loop_new(context, FALSE);
        fThread = std::thread([loop = fOwnLoop] { RunOwnThread(loop); });
    }
    Post(InitialiseGtk);
}

void GtkLoop::Release() {
    std::lock_guard lock(fMutex);
    if (--fUses > 0 || !fThread.joinable()) return;
    // A Use is never released on GTK's own thread: joining it there would wait forever.
    assert(fThread.get_id() != std::this_thread::get_id());
    // Behind the work already posted: the windows are destroyed first.
    Post([loop = fOwnLoop] { g_main_loop_quit(loop); });
    fThread.join();
    g_main_loop_unref(fOwnLoop);
    fOwnLoop = nullptr;
}

void GtkLoop::Post(Work work) {
    // An idle source rather than g_main_context_invoke, which runs the work
    // at once when called on GTK's thread: posted work always runs later,
    // in the order posted.
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, RunPosted, new Work(std::move(work)), DeletePosted);
    g_source_attach(source, g_main_context_default());
    g_source_unref(source);
}

void GtkLoop::RunOwnThread(GMainLoop* loop) {
    zThread::NameCurrent("gtk");
    g_main_loop_run(loop);
    // What the last windows left (their destruction's requests, events on
    // their way) is handled before the thread ends, and reaches the server.
    GMainContext* context = g_main_context_default();
    g_main_context_acquire(context);
    while (g_main_context_iteration(context, FALSE)) {
    }
    if (sReady) gdk_display_flush(gdk_display_get_default());
    g_main_context_release(context);
}

} // namespace qcp::platform::gtk

#pragma once
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

typedef struct _GMainLoop GMainLoop;

// GTK 3 for the plug-in's windows, on the thread that turns GLib's default
// main context (GDK's X events arrive there, and GTK is used from that
// thread alone):
//
// - A host that runs a GLib or GTK main loop on its main thread: that loop.
//   The plug-in finds it turning when it first shows something (the default
//   context is owned by another thread) and hands its work to it; GTK is
//   initialised there if the host has not done so.
// - A host that runs none (qcp-host, for one): a thread of the plug-in's own
//   ("gtk"), started when the first window or alert needs it and stopped
//   when the last one is gone, after that one's windows are destroyed. Such
//   a host must not start a GTK loop of its own while the plug-in shows
//   windows.
//
// Work reaches GTK only by posting; the plug-in's main queue never waits for
// GTK (a host whose GTK thread is blocked in a call to the plug-in would
// otherwise deadlock), except for a modal alert, which waits for the user by
// its nature.
//
// Made by the platform, which outlives every Use. Any thread.
namespace qcp::platform::gtk {

class GtkLoop {
public:
    using Work = std::function<void()>;

    GtkLoop() = default;
    ~GtkLoop(); // every Use is gone: the thread has stopped
    GtkLoop(const GtkLoop&) = delete;
    GtkLoop& operator=(const GtkLoop&) = delete;

    // Keeps GTK running for one window or alert. Post only while holding one.
    // Releasing the last Use posts the end of the plug-in's own thread behind
    // the work already posted, and joins it.
    class Use {
    public:
        explicit Use(GtkLoop& loop);
        ~Use();
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        // Runs `work` on GTK's thread, after the work posted before it. GTK
        // is initialised by then; when it cannot be (no X display), work is
        // still run and GtkLoop::Ready() answers false.
        void Post(Work work) const;

    private:
        GtkLoop& fLoop;
    };

    // On GTK's thread: whether GTK is initialised and can show windows.
    static bool Ready();
    // Whether the caller is GTK's thread.
    static bool IsCurrent();

private:
    void Acquire();
    void Release();
    void Post(Work work);
    static void RunOwnThread(GMainLoop* loop);

    std::mutex fMutex;
    int fUses = 0;
    // The plug-in's own thread and its loop; none while the host's loop runs GTK.
    std::thread fThread;
    GMainLoop* fOwnLoop = nullptr;
};

} // namespace qcp::platform::gtk

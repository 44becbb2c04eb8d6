#include "XvfbSession.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kStartLimit = std::chrono::seconds(10);

// Runs `arguments` with its output discarded; -1 when it cannot be run. Descriptors without
// close-on-exec (Xvfb's -displayfd pipe) are inherited.
pid_t Spawn(const std::vector<std::string>& arguments) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    std::vector<char*> argv;
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    pid_t pid = -1;
    if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

void Terminate(pid_t pid) {
    if (pid <= 0) return;
    kill(pid, SIGTERM);
    const auto deadline = Clock::now() + std::chrono::seconds(5);
    while (waitpid(pid, nullptr, WNOHANG) == 0) {
        if (Clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

// The display number Xvfb writes to its -displayfd pipe once it listens.
std::string ReadDisplayNumber(int fd) {
    std::string number;
    const auto deadline = Clock::now() + kStartLimit;
    while (Clock::now() < deadline) {
        pollfd ready{fd, POLLIN, 0};
        if (poll(&ready, 1, 100) <= 0) continue;
        char c = 0;
        if (read(fd, &c, 1) != 1) break;
        if (c == '\n') return number;
        number += c;
    }
    return {};
}

// Whether the window manager frames a new window within a moment. Openbox
// announces itself before it has finished starting, and leaves windows mapped
// meanwhile alone for good; so a probe window is tried until one is framed.
bool WindowManagerFrames(Display* display) {
    const Window probe = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 10, 10, 0, 0, 0);
    XMapWindow(display, probe);
    XSync(display, False);
    bool framed = false;
    const auto deadline = Clock::now() + std::chrono::milliseconds(500);
    while (!framed && Clock::now() < deadline) {
        Window root = None, parent = None;
        Window* children = nullptr;
        unsigned count = 0;
        XWindowAttributes attributes{};
        framed = XQueryTree(display, probe, &root, &parent, &children, &count) && parent != root &&
                 XGetWindowAttributes(display, probe, &attributes) && attributes.map_state == IsViewable;
        if (children) XFree(children);
        if (!framed) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    XDestroyWindow(display, probe);
    XSync(display, False);
    // The next client reuses this one's window ids: openbox must be done with
    // the probe before a test's first window comes under the same id.
    const Atom clients = XInternAtom(display, "_NET_CLIENT_LIST", False);
    while (framed && Clock::now() < deadline + kStartLimit) {
        Atom type = None;
        int format = 0;
        unsigned long count = 0, remaining = 0;
        unsigned char* data = nullptr;
        XGetWindowProperty(display, DefaultRootWindow(display), clients, 0, 1024, False, XA_WINDOW, &type, &format,
                           &count, &remaining, &data);
        const auto* ids = reinterpret_cast<const unsigned long*>(data);
        const bool listed = data && std::find(ids, ids + count, probe) != ids + count;
        if (data) XFree(data);
        if (!listed) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return framed;
}

} // namespace

std::unique_ptr<XvfbSession> XvfbSession::Start(const std::vector<std::string>& extraArguments, std::string& why,
                                                const std::string& display) {
    int pipeFds[2];
    if (pipe(pipeFds) != 0) {
        why = "no pipe";
        return nullptr;
    }
    std::unique_ptr<XvfbSession> session(new XvfbSession());
    std::vector<std::string> arguments{"Xvfb",       "-displayfd", std::to_string(pipeFds[1]),
                                       "-screen",    "0",          "1920x1080x24",
                                       "+extension", "Composite",  "+extension",
                                       "DAMAGE",     "+extension", "RANDR",
                                       "-nolisten",  "tcp"};
    arguments.insert(arguments.end(), extraArguments.begin(), extraArguments.end());
    if (!display.empty()) arguments.insert(arguments.begin() + 1, display);
    session->fServer = Spawn(arguments);
    close(pipeFds[1]);
    const std::string number = session->fServer > 0 ? ReadDisplayNumber(pipeFds[0]) : "";
    close(pipeFds[0]);
    if (number.empty()) {
        why = session->fServer > 0 ? "Xvfb did not start" : "Xvfb is not installed";
        return nullptr;
    }
    session->fDisplay = ":" + number;
    setenv("DISPLAY", session->fDisplay.c_str(), 1);

    session->fWindowManager = Spawn({"openbox", "--sm-disable"});
    if (session->fWindowManager <= 0) {
        why = "openbox is not installed";
        return nullptr;
    }
    Display* connection = XOpenDisplay(session->fDisplay.c_str());
    if (!connection) {
        why = "cannot connect to Xvfb on " + session->fDisplay;
        return nullptr;
    }
    const auto deadline = Clock::now() + kStartLimit;
    bool running = WindowManagerFrames(connection);
    while (!running && Clock::now() < deadline) running = WindowManagerFrames(connection);
    XCloseDisplay(connection);
    if (!running) {
        why = "openbox did not start";
        return nullptr;
    }
    return session;
}

std::unique_ptr<XvfbSession> XvfbSession::StartApart(std::string& why) {
    // A server on a number in use exits at once, so the next one is tried.
    constexpr int kFirst = 700, kTries = 20;
    for (int number = kFirst; number < kFirst + kTries; ++number) {
        if (auto session = Start({}, why, ":" + std::to_string(number))) return session;
    }
    return nullptr;
}

void XvfbSession::KillServer() {
    if (fServer <= 0) return;
    kill(fServer, SIGKILL);
    // Reaped, so that a server started next on the display number finds its
    // lock file stale.
    waitpid(fServer, nullptr, 0);
    fServer = -1;
}

XvfbSession::~XvfbSession() {
    Terminate(fWindowManager);
    Terminate(fServer);
}

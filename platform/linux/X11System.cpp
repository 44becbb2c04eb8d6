#include "X11System.h"

#include <dlfcn.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

#include "zTraceManager.h"
#if QCP_HAVE_GTK
#include "GtkAlerts.h"
#endif

extern char** environ;

namespace qcp::platform::x11 {
namespace {
constexpr uint32_t kTraceNote = 0x6E6F7465; // 'note'

void Report(const char* kind, const Alert& alert) {
    std::string text = std::string(kind) + ": " + alert.message;
    if (!alert.informativeText.empty()) text += " — " + alert.informativeText;
    std::fprintf(stderr, "%s\n", text.c_str());
    zTraceManager::Default().TraceMessage(kTraceNote, text);
}
} // namespace

std::string X11System::resourceFolder() const {
    // Any address inside this library names the file it was loaded from (the
    // program itself when the library is linked in statically).
    Dl_info info{};
    std::filesystem::path file = "/proc/self/exe";
    if (dladdr(reinterpret_cast<const void*>(&Report), &info) && info.dli_fname && *info.dli_fname)
        file = info.dli_fname;
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::canonical(file, error).parent_path();
    if (error) return {};
    // The plug-in's folder holds the library and its Resources.
    const std::filesystem::path resources = folder / "Resources";
    return std::filesystem::is_directory(resources, error) ? resources.string() : folder.string();
}

void X11System::showAlertSheet(const Alert& alert) {
#if QCP_HAVE_GTK
    if (fGtk) {
        gtk::ShowAlert(*fGtk, alert);
        return;
    }
#endif
    Report("alert", alert);
}

int X11System::runModalAlert(const Alert& alert) {
#if QCP_HAVE_GTK
    if (fGtk) return gtk::RunModalAlert(*fGtk, alert);
#endif
    Report("modal alert (not shown)", alert);
    return -1;
}

void X11System::runInstallerPackage(const std::string& path, std::function<void(int exitStatus)> exited) {
    std::string shell = "/bin/sh";
    std::string script = path;
    char* const argv[] = {shell.data(), script.data(), nullptr};
    pid_t pid = 0;
    if (const int error = posix_spawn(&pid, shell.c_str(), nullptr, nullptr, argv, environ)) {
        zTraceManager::Default().TraceMessage(kTraceNote, "Unable to run the installer " + path + ": " +
                                                              std::strerror(error) + "\n");
        return;
    }
    std::thread([pid, exited = std::move(exited)] {
        int status = 0;
        pid_t waited = 0;
        do {
            waited = waitpid(pid, &status, 0);
        } while (waited < 0 && errno == EINTR);
        if (exited) exited(waited == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    }).detach();
}

} // namespace qcp::platform::x11

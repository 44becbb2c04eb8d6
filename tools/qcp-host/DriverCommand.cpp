// `qcp-host driver status|install|uninstall`: the audio capture driver,
// through the scripts in the plug-in's Resources folder.
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "Commands.h"
#include "VNAudioDriverManager.h"

extern char** environ;

namespace qcphost {
namespace {

// Install and uninstall are the very packages the plug-in's driver manager
// runs; the status script sources the same UIDs and version they do.
const char* ScriptFor(const std::string& action) {
    if (action == "status") return "AudioCaptureDriverStatus.sh";
    if (action == "install") return VNAudioDriverManager::kInstallPackage;
    if (action == "uninstall") return VNAudioDriverManager::kUninstallPackage;
    return nullptr;
}

// Runs the script with the shell, as the plug-in does, on this process's
// output and error streams so that its messages reach the user as written.
int RunScript(const std::filesystem::path& script) {
    std::string shell = "/bin/sh", path = script.string();
    char* const argv[] = {shell.data(), path.data(), nullptr};
    pid_t pid = 0;
    if (const int error = posix_spawn(&pid, shell.c_str(), nullptr, nullptr, argv, environ)) {
        std::fprintf(stderr, "qcp-host: cannot run %s: %s\n", path.c_str(), std::strerror(error));
        return 1;
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            std::fprintf(stderr, "qcp-host: lost %s: %s\n", path.c_str(), std::strerror(errno));
            return 1;
        }
    }
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    std::fprintf(stderr, "qcp-host: %s ended by signal %d\n", path.c_str(), WTERMSIG(status));
    return 1;
}

} // namespace

int DriverCommand(const PluginLibrary& plugin, const std::vector<std::string>& args) {
    const char* script = args.size() == 1 ? ScriptFor(args[0]) : nullptr;
    if (!script) {
        std::fprintf(stderr,
                     "qcp-host: driver takes status, install or uninstall; qcp-host help driver shows its use\n");
        return 2;
    }
    const std::filesystem::path path = plugin.Folder() / "Resources" / script;
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        std::fprintf(stderr, "qcp-host: the plug-in's driver script %s is missing\n", path.c_str());
        return 1;
    }
    return RunScript(path);
}

} // namespace qcphost

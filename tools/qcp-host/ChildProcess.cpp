#include "ChildProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "Pipe.h"

extern char** environ;

namespace qcphost {
namespace {

std::string LastLine(FILE* file) {
    std::rewind(file);
    std::string line, last;
    char buffer[512];
    while (std::fgets(buffer, sizeof buffer, file)) {
        line += buffer;
        if (line.back() != '\n') continue;
        line.pop_back();
        if (!line.empty()) last = line;
        line.clear();
    }
    return line.empty() ? last : line;
}

} // namespace

ChildProcess::~ChildProcess() {
    std::string ignored;
    Finish(ignored);
}

bool ChildProcess::Installed(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');)
        if (!folder.empty() && access((std::filesystem::path(folder) / program).c_str(), X_OK) == 0) return true;
    return false;
}

bool ChildProcess::Start(const std::vector<std::string>& argv, bool feedInput, std::string& error) {
    int pipeEnds[2] = {-1, -1};
    if (feedInput && !OpenPipe(pipeEnds, false)) {
        error = std::string("no pipe: ") + std::strerror(errno);
        return false;
    }
    fErrors = std::tmpfile();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (feedInput) posix_spawn_file_actions_adddup2(&actions, pipeEnds[0], STDIN_FILENO);
    if (fErrors) posix_spawn_file_actions_adddup2(&actions, fileno(fErrors), STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setpgroup(&attributes, 0);
    // Ctrl-C and SIGTERM stay blocked in the child: one sent to the host's
    // group while the child is being started, before it has a group of its
    // own, would wait for the exec and end it there (the host ends it by
    // closing its input).
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGINT);
    sigaddset(&blocked, SIGTERM);
    posix_spawnattr_setsigmask(&attributes, &blocked);
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    const int started = posix_spawnp(&fPid, args[0], &actions, &attributes, args.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (feedInput) close(pipeEnds[0]);
    if (started != 0) {
        fPid = -1;
        if (feedInput) close(pipeEnds[1]);
        error = argv[0] + " could not be started: " + std::strerror(started);
        return false;
    }
    fInput = feedInput ? pipeEnds[1] : -1;
    return true;
}

bool ChildProcess::Write(const void* data, size_t bytes) {
    const auto* at = static_cast<const char*>(data);
    while (bytes > 0 && fInput >= 0) {
        const ssize_t written = write(fInput, at, bytes);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        at += written;
        bytes -= size_t(written);
    }
    return bytes == 0;
}

bool ChildProcess::Finish(std::string& error) {
    if (fInput >= 0) close(fInput);
    fInput = -1;
    if (fPid < 0) return false;
    int status = 0;
    while (waitpid(fPid, &status, 0) < 0 && errno == EINTR) {
    }
    fPid = -1;
    const bool exited = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (!exited) {
        error = fErrors ? LastLine(fErrors) : std::string();
        if (error.empty())
            error = WIFEXITED(status) ? "exit status " + std::to_string(WEXITSTATUS(status))
                                      : "ended by signal " + std::to_string(WTERMSIG(status));
    }
    if (fErrors) std::fclose(fErrors);
    fErrors = nullptr;
    return exited;
}

bool ChildProcess::Run(const std::vector<std::string>& argv, std::string& error) {
    ChildProcess child;
    return child.Start(argv, false, error) && child.Finish(error);
}

} // namespace qcphost

#pragma once
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "ThreadSanitizer.h"
#include "WaitFor.h"

// What the tests' private sound servers share: a directory of their own for
// sockets, configuration and logs, and server programs run in it with only
// the environment they are given, so that nothing of the machine's own
// server is seen or changed. Made and destroyed on the test's thread.
namespace coreaudio_test {

// One program of a server; the destructor ends it.
class ServerProcess {
public:
    ServerProcess() = default;
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;
    ~ServerProcess() { Stop(); }

    // Runs `args`, its output going to `log`, and waits until `ready`; why
    // not, or empty.
    std::string Start(const std::vector<std::string>& args, const std::vector<std::string>& env,
                      const std::string& log, const std::function<bool()>& ready) {
        fPid = Spawn(args, env, log);
        if (fPid <= 0) return args[0] + " is not installed";
        const bool started = WaitFor([&] { return !Running() || ready(); }, std::chrono::seconds(10));
        return started && Running() ? "" : args[0] + " did not start";
    }
    // Ends it as a user stopping it would; killed if it does not go.
    void Stop() {
        if (fPid <= 0) return;
        kill(fPid, SIGTERM);
        if (!WaitFor([this] { return waitpid(fPid, nullptr, WNOHANG) == fPid; }, std::chrono::seconds(10))) {
            kill(fPid, SIGKILL);
            waitpid(fPid, nullptr, 0);
        }
        fPid = 0;
    }

    // Whether a server listens at `socket`: its file is made before it does,
    // and one left by a killed run listens to nothing.
    static bool Accepts(const std::string& socket) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        socket.copy(address.sun_path, sizeof address.sun_path - 1);
        const int client = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const bool accepted = connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        close(client);
        return accepted;
    }
    // Whether `args` runs to a successful end.
    static bool Succeeds(const std::vector<std::string>& args, const std::vector<std::string>& env,
                         const std::string& log) {
        const pid_t pid = Spawn(args, env, log);
        int status = 0;
        return pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

private:
    // Whether it has not exited.
    bool Running() {
        if (fPid > 0 && waitpid(fPid, nullptr, WNOHANG) == fPid) fPid = 0;
        return fPid > 0;
    }
    // Only the machine's PATH is passed on beside `env`, so that the program
    // finds its helpers.
    static pid_t Spawn(std::vector<std::string> args, std::vector<std::string> env, const std::string& log) {
        if (const char* path = std::getenv("PATH")) env.push_back(std::string("PATH=") + path);
        std::vector<char*> argv, envp;
        for (auto& arg : args) argv.push_back(arg.data());
        for (auto& entry : env) envp.push_back(entry.data());
        argv.push_back(nullptr);
        envp.push_back(nullptr);
        posix_spawn_file_actions_t output;
        posix_spawn_file_actions_init(&output);
        posix_spawn_file_actions_addopen(&output, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        posix_spawn_file_actions_adddup2(&output, STDOUT_FILENO, STDERR_FILENO);
        pid_t pid = 0;
        const int spawned = posix_spawnp(&pid, args[0].c_str(), &output, nullptr, argv.data(), envp.data());
        posix_spawn_file_actions_destroy(&output);
        return spawned == 0 ? pid : 0;
    }

    pid_t fPid = 0;
};

// A private server of one kind. `Configure` takes the lines of a PulseAudio
// start-up script; each kind honours what it can and says what it cannot in
// `Unavailable`.
class PrivateServer {
public:
    PrivateServer(const PrivateServer&) = delete;
    PrivateServer& operator=(const PrivateServer&) = delete;
    virtual ~PrivateServer() {
        // Kept for its logs when the server would not start.
        if (!fDirectory.empty() && fUnavailable.empty()) std::filesystem::remove_all(fDirectory);
    }

    // More lines for the configuration, read from the next start on.
    virtual void Configure(const std::string& lines) = 0;
    // From the next start on, also loads the modules that the user's files
    // under `configHome` have a server of this kind load at its start.
    virtual void ConfigureAsUser(const std::filesystem::path& configHome) = 0;
    // Ends the server now, as a user stopping it would.
    virtual void Stop() = 0;
    // The module and arguments that make on this server what `module`, a
    // module and its arguments, makes on PulseAudio.
    virtual std::string Module(const std::string& module) const { return module; }
    // Starts it again, at the same address, with only the devices its
    // configuration makes.
    void Restart() {
        Stop();
        Start();
    }

    // Why the server is not there; empty when it runs.
    const std::string& Unavailable() const { return fUnavailable; }
    // Its address for clients, as PULSE_SERVER takes it.
    const std::string& Address() const { return fAddress; }

protected:
    // `program` names the server in the directory's name and in messages.
    explicit PrivateServer(const std::string& program) {
        if (kUnderThreadSanitizer) {
            // The client library's threads and locks are not instrumented:
            // ThreadSanitizer reports its own initialisation as racing and
            // stalls its loop. The layer's locking is checked on the sim.
            fUnavailable = "the sound server's client library cannot run under ThreadSanitizer";
            return;
        }
        std::string pattern = "/tmp/qcp-" + program + "-XXXXXX";
        if (!mkdtemp(pattern.data())) {
            fUnavailable = "no temporary directory for " + program;
            return;
        }
        fDirectory = pattern;
    }
    // Starts the server's programs, or says why not in `fUnavailable`.
    virtual void Start() = 0;
    // Records why the server is not there, with where its logs are.
    void Fail(const std::string& why) { fUnavailable = why + " (logs in " + fDirectory + ")"; }

    std::string fDirectory;
    std::string fAddress;
    std::string fUnavailable;
};

} // namespace coreaudio_test

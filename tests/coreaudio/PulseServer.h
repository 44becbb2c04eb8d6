#pragma once
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "WaitFor.h"

// A private sound server for one test: its own runtime directory, socket and
// configuration (the native protocol only; tests load devices as modules),
// so that nothing of the machine's own server is seen or changed. Made and
// destroyed on the test's thread; the destructor kills the server.
namespace coreaudio_test {

#if defined(__SANITIZE_THREAD__)
inline constexpr bool kUnderThreadSanitizer = true;
#elif defined(__has_feature)
inline constexpr bool kUnderThreadSanitizer = __has_feature(thread_sanitizer);
#else
inline constexpr bool kUnderThreadSanitizer = false;
#endif

class PulseServer {
public:
    // `configuration`: lines the server reads at every start, after those
    // that let the tests connect.
    explicit PulseServer(const std::string& configuration = {}) {
        if (kUnderThreadSanitizer) {
            // The client library's threads and locks are not instrumented:
            // ThreadSanitizer reports its own initialisation as racing and
            // stalls its loop. The layer's locking is checked on the sim.
            fUnavailable = "the sound server's client library cannot run under ThreadSanitizer";
            return;
        }
        char pattern[] = "/tmp/qcp-pulse-XXXXXX";
        if (!mkdtemp(pattern)) {
            fUnavailable = "no temporary directory for the server";
            return;
        }
        fDirectory = pattern;
        std::ofstream(fDirectory + "/default.pa")
            << "load-module module-native-protocol-unix auth-anonymous=1 socket=" << Socket() << "\n"
            << configuration;
        fAddress = "unix:" + Socket();
        Start();
    }

    // More lines for the configuration, read from the next start on.
    void Configure(const std::string& lines) {
        std::ofstream(fDirectory + "/default.pa", std::ios::app) << lines;
    }
    // Starts it again, at the same address, with only the devices its
    // configuration makes.
    void Restart() {
        Stop();
        std::filesystem::remove(Socket());
        Start();
    }

    ~PulseServer() {
        Stop();
        // Kept for its log when the server would not start.
        if (!fDirectory.empty() && fUnavailable.empty()) std::filesystem::remove_all(fDirectory);
    }

private:
    std::string Socket() const { return fDirectory + "/native"; }

    void Start() {
        const std::string socket = Socket();
        // Run as root (as in containers) it needs to be told it is no system
        // server, and that modules may be loaded.
        std::vector<std::string> args{"pulseaudio",       "-n",
                                      "--daemonize=no",   "--exit-idle-time=-1",
                                      "--disallow-exit",  "--system=false",
                                      "--disallow-module-loading=false", "--use-pid-file=false",
                                      "--log-target=file:" + fDirectory + "/log",
                                      "-F",               fDirectory + "/default.pa"};
        std::vector<std::string> env{"XDG_RUNTIME_DIR=" + fDirectory, "PULSE_RUNTIME_PATH=" + fDirectory,
                                     "PULSE_STATE_PATH=" + fDirectory, "HOME=" + fDirectory,
                                     "XDG_CONFIG_HOME=" + fDirectory, "PULSE_SERVER=" + fAddress};
        if (const char* path = std::getenv("PATH")) env.push_back(std::string("PATH=") + path);
        std::vector<char*> argv, envp;
        for (auto& arg : args) argv.push_back(arg.data());
        for (auto& entry : env) envp.push_back(entry.data());
        argv.push_back(nullptr);
        envp.push_back(nullptr);
        if (posix_spawnp(&fPid, "pulseaudio", nullptr, nullptr, argv.data(), envp.data()) != 0) {
            fPid = 0;
            fUnavailable = "pulseaudio is not installed";
            return;
        }
        bool exited = false;
        const bool listening = WaitFor(
            [&] {
                exited = waitpid(fPid, nullptr, WNOHANG) == fPid;
                return exited || std::filesystem::exists(socket);
            },
            std::chrono::seconds(10));
        if (exited) fPid = 0;
        if (!listening || exited) fUnavailable = "pulseaudio did not start; see its log in " + fDirectory;
    }

public:

    PulseServer(const PulseServer&) = delete;
    PulseServer& operator=(const PulseServer&) = delete;

    // Ends the server now, as a user stopping it would.
    void Stop() {
        if (fPid <= 0) return;
        kill(fPid, SIGTERM);
        if (!WaitFor([this] { return waitpid(fPid, nullptr, WNOHANG) == fPid; }, std::chrono::seconds(10))) {
            kill(fPid, SIGKILL);
            waitpid(fPid, nullptr, 0);
        }
        fPid = 0;
    }
    // Why the server is not there; empty when it runs.
    const std::string& Unavailable() const { return fUnavailable; }
    // Its address for clients, as PULSE_SERVER takes it.
    const std::string& Address() const { return fAddress; }

private:
    std::string fDirectory;
    std::string fAddress;
    std::string fUnavailable;
    pid_t fPid = 0;
};

} // namespace coreaudio_test

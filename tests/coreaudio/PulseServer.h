#pragma once
#include <filesystem>
#include <fstream>
#include <string>

#include "PrivateServer.h"

// A private PulseAudio for one test: the native protocol only, from its own
// start-up script; tests load devices as modules.
namespace coreaudio_test {

class PulseServer : public PrivateServer {
public:
    // `configuration`: lines the server reads at every start, after those
    // that let the tests connect.
    explicit PulseServer(const std::string& configuration = {}) : PrivateServer("pulse") {
        if (!fUnavailable.empty()) return;
        std::ofstream(Script()) << "load-module module-native-protocol-unix auth-anonymous=1 socket=" << Socket()
                                << "\n"
                                << configuration;
        fAddress = "unix:" + Socket();
        Start();
    }

    void Configure(const std::string& lines) override { std::ofstream(Script(), std::ios::app) << lines; }
    // The user's script starts from the system's, which would bring in the
    // machine's own devices: only its own modules are taken.
    void ConfigureAsUser(const std::filesystem::path& configHome) override {
        std::ifstream script(configHome / "pulse" / "default.pa");
        std::string modules;
        for (std::string line; std::getline(script, line);)
            if (line.rfind("load-module", 0) == 0) modules += line + "\n";
        Configure(modules);
    }
    void Stop() override { fServer.Stop(); }

private:
    std::string Socket() const { return fDirectory + "/native"; }
    std::string Script() const { return fDirectory + "/default.pa"; }

    void Start() override {
        // Run as root (as in containers) it needs to be told it is no system
        // server, and that modules may be loaded.
        const std::string why = fServer.Start(
            {"pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--disallow-exit", "--system=false",
             "--disallow-module-loading=false", "--use-pid-file=false", "--log-target=file:" + fDirectory + "/log",
             "-F", Script()},
            {"XDG_RUNTIME_DIR=" + fDirectory, "PULSE_RUNTIME_PATH=" + fDirectory, "PULSE_STATE_PATH=" + fDirectory,
             "HOME=" + fDirectory, "XDG_CONFIG_HOME=" + fDirectory, "PULSE_SERVER=" + fAddress},
            fDirectory + "/output", [this] { return ServerProcess::Accepts(Socket()); });
        if (!why.empty()) Fail(why);
    }

    ServerProcess fServer;
};

} // namespace coreaudio_test

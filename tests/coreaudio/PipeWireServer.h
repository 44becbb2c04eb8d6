#pragma once
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "PrivateServer.h"

// A private PipeWire for one test, with its session manager and its
// PulseAudio server, which is what the tests talk to: pipewire, wireplumber
// and pipewire-pulse run as a user's session would start them, without a
// session bus. None of the machine's devices are taken; tests load devices
// as modules through the PulseAudio server.
namespace coreaudio_test {

class PipeWireServer : public PrivateServer {
public:
    // `configuration`: PulseAudio start-up lines; only `load-module` ones can
    // be honoured, as the PulseAudio server's start-up commands.
    explicit PipeWireServer(const std::string& configuration = {}) : PrivateServer("pipewire") {
        if (!fUnavailable.empty()) return;
        WriteSessionManagerConfiguration();
        fPackaged = Split(kPackagedConfiguration).rest;
        fAddress = "unix:" + fDirectory + "/pulse/native";
        Configure(configuration);
        Start();
    }

    void Configure(const std::string& lines) override {
        std::istringstream in(lines);
        for (std::string line; std::getline(in, line);) {
            if (line.empty() || line[0] == '#') continue;
            if (line.rfind("load-module ", 0) != 0) {
                fUnavailable = "PipeWire's PulseAudio server runs only load-module at its start, not: " + line;
                continue;
            }
            std::string args;
            for (const char c : Module(line.substr(std::string("load-module ").size()))) {
                if (c == '"' || c == '\\') args += '\\';
                args += c;
            }
            fCommands.push_back("{ cmd = \"load-module\" args = \"" + args + "\" }");
        }
        WriteConfiguration();
    }
    // The user's start-up commands, as written there.
    void ConfigureAsUser(const std::filesystem::path& configHome) override {
        std::vector<std::filesystem::path> files;
        std::error_code none;
        for (const auto& entry :
             std::filesystem::directory_iterator(configHome / "pipewire" / "pipewire-pulse.conf.d", none))
            if (entry.path().extension() == ".conf") files.push_back(entry.path());
        std::sort(files.begin(), files.end());
        for (const auto& file : files)
            for (auto& command : Split(file).commands) fCommands.push_back(std::move(command));
        WriteConfiguration();
    }
    // The PulseAudio server first, as its clients see the server go.
    void Stop() override {
        fPulse.Stop();
        fSessionManager.Stop();
        fPipeWire.Stop();
    }
    // There is no null source: a null sink of the source class is one.
    std::string Module(const std::string& module) const override {
        static const std::string nullSource = "module-null-source ";
        if (module.rfind(nullSource, 0) != 0) return module;
        std::string args = std::regex_replace(module.substr(nullSource.size()), std::regex("source_name="),
                                              "sink_name=");
        args = std::regex_replace(args, std::regex("description='([^']*)'"),
                                  "sink_properties='device.description=\"$1\"'");
        return "module-null-sink media.class=Audio/Source/Virtual " + args;
    }

private:
    static constexpr const char* kPackagedConfiguration = "/usr/share/pipewire/pipewire-pulse.conf";

    // A configuration file's start-up commands, and the rest of it.
    struct Parts {
        std::string rest;
        std::vector<std::string> commands;
    };
    static Parts Split(const std::filesystem::path& file) {
        Parts parts;
        std::ifstream in(file);
        bool commands = false;
        for (std::string line; std::getline(in, line);) {
            const auto text = line.find_first_not_of(" \t");
            if (line.rfind("pulse.cmd", 0) == 0) commands = true;
            else if (commands && text != std::string::npos && line.substr(text) == "]") commands = false;
            else if (!commands) parts.rest += line + "\n";
            else if (text != std::string::npos && line[text] != '#') parts.commands.push_back(line.substr(text));
        }
        return parts;
    }

    std::filesystem::path ConfigHome() const { return fDirectory + "/config"; }

    // WirePlumber 0.4's Lua configuration, read after the packaged one.
    void WriteSessionManagerConfiguration() const {
        const auto main = ConfigHome() / "wireplumber" / "main.lua.d";
        const auto bluetooth = ConfigHome() / "wireplumber" / "bluetooth.lua.d";
        std::filesystem::create_directories(main);
        std::filesystem::create_directories(bluetooth);
        std::ofstream(main / "60-private-server.lua")
            << "-- Only the tests' devices: none of the machine's cards or cameras.\n"
               "alsa_monitor.enabled = false\n"
               "v4l2_monitor.enabled = false\n"
               "libcamera_monitor.enabled = false\n"
               "-- The portal's permission store is reached over the session bus,\n"
               "-- which there is none of: with it the session manager exits.\n"
               "default_access.properties[\"enable-flatpak-portal\"] = false\n"
               "-- Like the private PulseAudio, which loads no restore modules, it\n"
               "-- remembers no default and no stream's target across restarts.\n"
               "device_defaults.properties[\"use-persistent-storage\"] = false\n"
               "stream_defaults.enabled = false\n";
        std::ofstream(bluetooth / "60-private-server.lua") << "bluez_monitor.enabled = false\n";
    }
    // The packaged file with the private server's start-up commands for its
    // own: the packaged ones add a sink whenever there is none, which the
    // private PulseAudio does not. No drop-in file: pipewire-pulse runs the
    // commands of the main file and of the first drop-in only.
    void WriteConfiguration() const {
        std::filesystem::create_directories(ConfigHome() / "pipewire");
        std::ofstream out(ConfigHome() / "pipewire" / "pipewire-pulse.conf");
        out << fPackaged << "pulse.cmd = [\n";
        for (const auto& command : fCommands) out << "    " << command << "\n";
        out << "]\n";
    }

    // Each waits for the one before: the session manager for PipeWire, and
    // the PulseAudio server for the session manager's defaults, which it
    // cannot set until they exist ("Not supported").
    void Start() override {
        const std::vector<std::string> env{"XDG_RUNTIME_DIR=" + fDirectory, "HOME=" + fDirectory,
                                           "XDG_CONFIG_HOME=" + ConfigHome().string(),
                                           "XDG_STATE_HOME=" + fDirectory + "/state"};
        const auto log = [this](const std::string& program) { return fDirectory + "/" + program + ".log"; };
        std::string why = fPipeWire.Start({"pipewire"}, env, log("pipewire"),
                                          [&] { return ServerProcess::Accepts(fDirectory + "/pipewire-0"); });
        if (why.empty())
            why = fSessionManager.Start({"wireplumber"}, env, log("wireplumber"), [&] {
                return ServerProcess::Succeeds({"sh", "-c", "pw-metadata -n default | grep -q Found"}, env,
                                               log("pw-metadata"));
            });
        if (why.empty())
            why = fPulse.Start({"pipewire-pulse"}, env, log("pipewire-pulse"),
                               [&] { return ServerProcess::Accepts(fDirectory + "/pulse/native"); });
        if (!why.empty()) Fail(why);
    }

    std::string fPackaged;
    std::vector<std::string> fCommands;
    ServerProcess fPipeWire;
    ServerProcess fSessionManager;
    ServerProcess fPulse;
};

} // namespace coreaudio_test

// qcp-host: the reference host. Loads the plug-in as a host application would
// and drives it through its C interface.
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "Commands.h"
#include "PluginLibrary.h"

namespace {

constexpr const char* kUsage = R"(usage: qcp-host [--plugin PATH] COMMAND [ARGUMENTS]

Loads the capture plug-in (libMacCapture.so next to this program unless
--plugin or QCP_PLUGIN names another) and drives it as a host would.

Commands:
  list                         the model, the devices with their categories
                               and display names, each device's sources, the
                               number of displays, and the applications and
                               windows that can be captured
  settings get SOURCE          the settings record of a new source SOURCE
  settings set SOURCE XML      applies a settings record (XML text, or @FILE to
                               read it from a file), then prints the result
  capture [OPTIONS]            captures for a while and reports what arrived,
                               in the terminal and in DIR/summary.json:
    --display N                the display to capture (default 0)
    --region L,T,R,B           only this part of it (default: all of it)
    --window TITLE --app APP   a window instead, [--game] as a full-screen game
    --cursor on|off            draw the mouse cursor (default on)
    --duration SECONDS         how long to capture (default 3)
    --frames N                 stop after N video frames (default: by time)
    --output DIR               where the files go (default capture-out)
    --png-interval SECONDS     seconds between PNG samples, 0 for none
                               (default 1)
    --no-video                 no MP4 (made with ffmpeg by default); with
                               --audio, no screen capture at all
    --audio                    also records the system audio (default off) into
                               DIR/audio.wav, 48 kHz 16-bit stereo, and reports
                               its packets and their sizes, the peak level in
                               dBFS (in the progress line: over the last
                               second), gaps (audio missing on the host's
                               clock: a packet whose audio would start over
                               10 ms after the previous one's ended, less what
                               a burst after a stall makes up) and the dominant
                               frequency
                               (Goertzel filters every 10 Hz from 20 Hz to
                               20 kHz, then every 0.05 Hz near the strongest,
                               over the loudest second)
  driver status|install|uninstall
                               the audio capture driver, through the scripts
                               in the Resources folder beside the plug-in (the
                               plug-in is loaded, not initialised): status
                               says whether it is installed, its version,
                               whether that is current and its two devices;
                               install and uninstall load or unload it and
                               make that last. Exit status: 0 done (status:
                               installed and current), 1 failed, 2 bad usage
                               or pactl missing, 3 no sound server; status
                               also 4 not installed, 5 outdated
  help                         this text

Environment:
  QCP_PLATFORM  sim or linux: the platform the plug-in uses (native by default)
  QCP_LOG       stderr or a file path: where the plug-in's trace goes
)";

int Run(qcphost::PluginLibrary& plugin, const std::vector<std::string>& args) {
    const std::vector<std::string> rest(args.begin() + 1, args.end());
    if (args[0] == "list" && rest.empty()) return qcphost::ListCommand(plugin);
    if (args[0] == "settings") return qcphost::SettingsCommand(plugin, rest);
    if (args[0] == "capture") return qcphost::CaptureCommand(plugin, rest);
    std::fprintf(stderr, "qcp-host: unknown command '%s'\n\n%s", args[0].c_str(), kUsage);
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    // A recorder whose ffmpeg ended early must not take the host down.
    std::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> args(argv + 1, argv + argc);
    std::string pluginPath = qcphost::PluginLibrary::DefaultPath();
    if (args.size() >= 2 && args[0] == "--plugin") {
        pluginPath = args[1];
        args.erase(args.begin(), args.begin() + 2);
    }
    if (args.empty() || args[0] == "help" || args[0] == "--help" || args[0] == "-h") {
        std::fputs(kUsage, args.empty() ? stderr : stdout);
        return args.empty() ? 2 : 0;
    }
    try {
        qcphost::PluginLibrary plugin(pluginPath);
        if (args[0] == "driver") return qcphost::DriverCommand(plugin, {args.begin() + 1, args.end()});
        plugin.QCP_IntitializeLibrary();
        const int status = Run(plugin, args);
        plugin.QCP_UninitializeLibrary();
        return status;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qcp-host: %s\n", error.what());
        return 1;
    }
}

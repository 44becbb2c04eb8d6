#include "CommandLine.h"

#include <algorithm>

#include "CaptureOptions.h"
#include "HelpText.h"
#include "WholeNumber.h"

namespace qcphost {
namespace {

CommandLine Refusal(const std::string& reason) { return {CommandLine::Action::Refuse, {}, {}, {}, reason}; }

bool AsksForHelp(const std::vector<std::string>& args) {
    return std::any_of(args.begin(), args.end(), [](const std::string& arg) { return arg == "--help" || arg == "-h"; });
}

// Why the arguments do not fit the command; empty when they do.
std::string UsageProblem(const std::string& command, const std::vector<std::string>& args) {
    if (command == "list") return args.empty() ? "" : "list takes no arguments";
    if (command == "settings") {
        const bool fits = (args.size() == 2 && args[0] == "get") || (args.size() == 3 && args[0] == "set");
        return fits ? "" : "settings takes get SOURCE, or set SOURCE XML|@FILE";
    }
    if (command == "configure")
        return args.size() == 1 || args.size() == 2 ? "" : "configure takes SOURCE, and optionally XML|@FILE";
    if (command == "choose-region") {
        int display = 0;
        const bool fits = args.size() == 2 && args[0] == "--display" && ReadWholeNumber(args[1], display) && display >= 0;
        return fits ? "" : "choose-region takes --display N";
    }
    if (command == "driver") {
        const bool fits = args.size() == 1 && (args[0] == "status" || args[0] == "install" || args[0] == "uninstall");
        return fits ? "" : "driver takes status, install or uninstall";
    }
    CaptureOptions options;
    std::string error;
    return CaptureOptions::Parse(args, options, error) ? "" : error;
}

} // namespace

CommandLine CommandLine::Read(const std::vector<std::string>& arguments) {
    std::vector<std::string> rest = arguments;
    std::string plugin;
    if (!rest.empty() && rest[0] == "--plugin") {
        if (rest.size() < 2 || rest[1].empty()) return Refusal("--plugin needs a path");
        plugin = rest[1];
        rest.erase(rest.begin(), rest.begin() + 2);
    }
    if (rest.empty()) return Refusal("no command given; qcp-host help lists them");
    const std::string command = rest[0];
    rest.erase(rest.begin());
    if (command == "help" || command == "--help" || command == "-h") {
        if (rest.empty()) return {Action::Help, plugin, {}, {}, OverviewHelp()};
        if (rest.size() > 1) return Refusal("help takes one command; qcp-host help lists them");
        const CommandHelp* help = FindCommandHelp(rest[0]);
        if (!help) return Refusal("unknown command '" + rest[0] + "'; qcp-host help lists them");
        return {Action::Help, plugin, {}, {}, std::string(help->text)};
    }
    const CommandHelp* help = FindCommandHelp(command);
    if (!help) {
        const bool option = command.size() > 1 && command[0] == '-';
        return Refusal("unknown " + std::string(option ? "option" : "command") + " '" + command +
                       "'; qcp-host help lists them");
    }
    if (AsksForHelp(rest)) return {Action::Help, plugin, {}, {}, std::string(help->text)};
    if (const std::string problem = UsageProblem(command, rest); !problem.empty())
        return Refusal(problem + "; qcp-host help " + command + " shows its use");
    return {Action::Run, plugin, command, rest, {}};
}

} // namespace qcphost

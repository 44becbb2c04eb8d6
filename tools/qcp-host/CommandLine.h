#pragma once
#include <string>
#include <vector>

namespace qcphost {

// What qcp-host's arguments ask for, judged before the plug-in is loaded:
// help, a refusal, or a command to run with arguments of the right shape.
struct CommandLine {
    enum class Action { Run, Help, Refuse };

    Action action = Action::Refuse;
    std::string plugin; // --plugin PATH; empty for the default
    std::string command;
    std::vector<std::string> args;
    // Help: the text for stdout. Refuse: the one line for stderr, without
    // the program's name or a line end.
    std::string text;

    static CommandLine Read(const std::vector<std::string>& arguments);
};

} // namespace qcphost

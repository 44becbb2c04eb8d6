#pragma once
#include <string>
#include <string_view>

namespace qcphost {

// Every help text of qcp-host, kept together so that the overview, each
// command's help and the hints on errors cannot drift apart.
struct CommandHelp {
    std::string_view name;
    std::string_view summary; // one line in the overview
    std::string_view text;    // `qcp-host help NAME`
};

// The command of that name; null for any other.
const CommandHelp* FindCommandHelp(std::string_view name);

// `qcp-host help`: the commands, one line each, --plugin and the environment.
std::string OverviewHelp();

} // namespace qcphost

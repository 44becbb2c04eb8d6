#pragma once
#include <string>
#include <vector>

// The built qcp-host, run as a user runs it: its exit status and output.
struct HostRun {
    int status = -1;
    std::string out, err;
};

// `text` as one word for sh.
std::string Quoted(const std::string& text);

inline constexpr const char* kSim = "env QCP_PLATFORM=sim";

// `environment` is an env(1) command line that sets up the host's environment.
HostRun RunHost(const std::vector<std::string>& args, const std::string& environment = kSim);

#include "HostRun.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

HostRun RunHost(const std::vector<std::string>& args, const std::string& environment) {
    // Per process: the tests may run side by side.
    const std::string errFile = testing::TempDir() + "qcp-host-stderr-" + std::to_string(getpid()) + ".txt";
    std::string command = environment + " " + Quoted(QCP_TEST_HOST);
    for (const std::string& arg : args) command += " " + Quoted(arg);
    command += " 2>" + Quoted(errFile);
    HostRun run;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return run;
    char buffer[4096];
    for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) run.out.append(buffer, n);
    const int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::ostringstream err;
    err << std::ifstream(errFile).rdbuf();
    run.err = err.str();
    return run;
}

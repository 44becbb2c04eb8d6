#pragma once
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace qcphost {

// A helper program (ffmpeg) run by the host, optionally fed through its
// standard input. It runs in a process group of its own, so a Ctrl-C at the
// terminal reaches the host alone: the host then ends the child's input and
// waits for it to finish its file. Its standard error goes to a temporary
// file whose last line becomes the reason when it fails.
//
// Used by one thread at a time. Not copyable; the destructor finishes it.
class ChildProcess {
public:
    ChildProcess() = default;
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Whether `program` is found on PATH.
    static bool Installed(const std::string& program);

    // Starts argv (argv[0] looked up on PATH); false with the reason.
    bool Start(const std::vector<std::string>& argv, bool feedInput, std::string& error);
    // Writes to the child's input; false once it has stopped reading.
    bool Write(const void* data, size_t bytes);
    // Closes the input and waits. True when the child exited with 0; else
    // false with the reason (its last line of errors, or how it ended).
    bool Finish(std::string& error);

    // Start, then Finish.
    static bool Run(const std::vector<std::string>& argv, std::string& error);

private:
    int fPid = -1;
    int fInput = -1;
    FILE* fErrors = nullptr;
};

} // namespace qcphost

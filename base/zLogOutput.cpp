#include "zLogOutput.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace {
struct Output {
    std::mutex mutex;
    FILE* file = nullptr;
    bool owned = false;

    Output() {
        const char* target = std::getenv("QCP_LOG");
        if (!target || !*target) return;
        if (!std::strcmp(target, "stderr") || !std::strcmp(target, "-")) {
            file = stderr;
        } else {
            file = std::fopen(target, "a");
            owned = file != nullptr;
        }
    }
    ~Output() {
        if (owned) std::fclose(file);
    }
};

Output& TheOutput() {
    static Output output;
    return output;
}
} // namespace

void zLogOutput::Write(std::string_view channel, std::string_view text) {
    Output& output = TheOutput();
    if (!output.file) return;
    while (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    std::lock_guard lock(output.mutex);
    std::fprintf(output.file, "[%.*s] %.*s\n", int(channel.size()), channel.data(), int(text.size()), text.data());
    std::fflush(output.file);
}

#pragma once
#include <filesystem>
#include <fstream>
#include <string>

// How many of this process's threads are named `name` now (Linux).
inline int ThreadsNamed(const std::string& name) {
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string comm;
        std::getline(std::ifstream(task.path() / "comm"), comm);
        count += comm == name;
    }
    return count;
}

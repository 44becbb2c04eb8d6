#pragma once
#include <chrono>
#include <functional>
#include <thread>

// Polls `done` until it holds or `limit` of real time has passed. The limit
// is generous: only a hang reaches it; no test reasons about real time.
inline bool WaitFor(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

#pragma once
#include <atomic>
#include <string>

#include "QCP_API.h"

// What a stressed host does, through the C interface only, so that the same
// storm runs over every platform.
namespace hoststress {

// What one source's callbacks saw. A callback after the source's removal has
// returned breaks a promise of the host interface.
struct Receiver {
    std::string id;
    std::atomic<int> frames{0};
    std::atomic<bool> removed{false};
    std::atomic<int> afterRemoval{0};

    // Reads from inside the callback (allowed) and tries to change the
    // calling source every sixteenth frame (refused, not a deadlock).
    static void Video(void* context, QCP_VideoBuffer* frame);
    static void Changed(void* context, int event);
};

// A host thread: `cycles` sources made, registered, configured three times
// as a random display, region, window or game source (the window named by
// `title` and `application`), read, and removed; each removal checked for
// late callbacks. Ends early when `stop` is set.
void HostThread(int seed, int cycles, const std::atomic<bool>& stop, const std::string& title,
                const std::string& application);

} // namespace hoststress

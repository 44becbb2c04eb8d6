#include "StopSignals.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

#include "Pipe.h"

namespace qcphost {
namespace {

std::atomic<int> gReceived{0};
struct sigaction gOldInterrupt, gOldTerminate;
// Written by the handler (write is safe there), so that a wait ends at once.
int gWake[2] = {-1, -1};

void Received(int number) {
    gReceived.store(number);
    const char byte = 1;
    if (gWake[1] >= 0) {
        // Should it fail, the flag is set still and the wait ends at its limit.
        [[maybe_unused]] const ssize_t written = write(gWake[1], &byte, 1);
    }
}

} // namespace

StopSignals::StopSignals() {
    gReceived.store(0);
    if (!OpenPipe(gWake, true)) gWake[0] = gWake[1] = -1;
    struct sigaction action {};
    action.sa_handler = &Received;
    sigemptyset(&action.sa_mask);
    // The second signal finds the default action back, and ends the host.
    action.sa_flags = SA_RESETHAND;
    sigaction(SIGINT, &action, &gOldInterrupt);
    sigaction(SIGTERM, &action, &gOldTerminate);
}

StopSignals::~StopSignals() {
    sigaction(SIGINT, &gOldInterrupt, nullptr);
    sigaction(SIGTERM, &gOldTerminate, nullptr);
    for (int& fd : gWake) {
        if (fd >= 0) close(fd);
        fd = -1;
    }
}

int StopSignals::received() const { return gReceived.load(); }

bool StopSignals::WaitFor(std::chrono::milliseconds limit) const {
    if (received()) return true;
    pollfd wake{gWake[0], POLLIN, 0};
    // Without the pipe, a plain wait: the signal still cuts it short.
    poll(gWake[0] >= 0 ? &wake : nullptr, gWake[0] >= 0 ? 1 : 0, int(limit.count()));
    return received() != 0;
}

const char* StopSignals::name() const {
    switch (received()) {
    case SIGINT: return "SIGINT";
    case SIGTERM: return "SIGTERM";
    default: return "";
    }
}

} // namespace qcphost

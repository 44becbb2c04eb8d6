#include "StopSignals.h"

#include <atomic>
#include <csignal>

namespace qcphost {
namespace {

std::atomic<int> gReceived{0};
struct sigaction gOldInterrupt, gOldTerminate;

void Received(int number) { gReceived.store(number); }

} // namespace

StopSignals::StopSignals() {
    gReceived.store(0);
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
}

int StopSignals::received() const { return gReceived.load(); }

const char* StopSignals::name() const {
    switch (received()) {
    case SIGINT: return "SIGINT";
    case SIGTERM: return "SIGTERM";
    default: return "";
    }
}

} // namespace qcphost

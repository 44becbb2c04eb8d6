#include "X11Server.h"

#include "zTime.h"
#include "zUserLogHistory.h"

namespace qcp::platform::x11 {
namespace {
constexpr int64_t kRetryMicros = 1'000'000;
constexpr int kInformation = 0, kError = 1;

void UserLog(int level, const std::string& text) { zUserLogHistory::Default()->Add(level, "Screen capture: " + text); }
} // namespace

X11Server::X11Server(std::string name) : fName(std::move(name)) {
    if (fName.empty()) UserLog(kError, "no X display ($DISPLAY is unset)");
}

std::unique_ptr<X11Connection> X11Server::Connect(Reconnect mode) {
    if (fName.empty()) return nullptr;
    std::lock_guard lock(fMutex);
    const uint64_t generation = fState->generation();
    if (!fState->lost()) {
        std::string error;
        if (std::unique_ptr<X11Connection> connection = X11Connection::Open(fName, fState, generation, error))
            return connection;
        // Reachable a moment ago: lost now, and retried like any loss.
        fState->MarkLost(generation);
    }
    if (generation > 0 && fReportedLoss != generation) {
        fReportedLoss = generation;
        UserLog(kError, "lost the connection to X display " + fName);
    }
    if (mode == Reconnect::NotWhileLost) return nullptr;
    return Reach();
}

std::unique_ptr<X11Connection> X11Server::Reach() {
    const int64_t now = zTime::MicroNow();
    if (fAttempted && now - fLastAttempt < kRetryMicros) return nullptr;
    const bool first = !fAttempted;
    fAttempted = true;
    fLastAttempt = now;
    const uint64_t generation = fState->generation() + 1;
    std::string error;
    std::unique_ptr<X11Connection> connection = X11Connection::Open(fName, fState, generation, error);
    if (!connection) {
        if (first) UserLog(kError, error);
        return nullptr;
    }
    fState->Restore();
    if (generation > 1) UserLog(kInformation, "X display " + fName + " is back");
    return connection;
}

} // namespace qcp::platform::x11

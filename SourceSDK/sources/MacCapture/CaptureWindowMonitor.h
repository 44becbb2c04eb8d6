#pragma once
#include <atomic>
#include <list>
#include <memory>
#include <string>

#include "zCritical.h"
#include "zSignal.h"
#include "zThread.h"

namespace MC {

class MacCaptureManager;

// Keeps a window or game source aimed at its window: polls the inventory once
// a second while the window is missing and ten times a second while it is
// held, and re-aims the source when the window moves, resizes or changes
// display. One monitor thread per source, named after the source id.
class _CaptureWindowMonitor final : public zThreadMain {
public:
    _CaptureWindowMonitor(std::string sourceID, std::string windowTitle, std::string appName,
                          MacCaptureManager& manager);
    ~_CaptureWindowMonitor() override;

    int Main(int argc, const char** argv) override;

    // Creates the monitor, lists it and starts its thread.
    static void Start(MacCaptureManager& manager, const std::string& sourceID, const std::string& windowTitle,
                      const std::string& appName);
    // Unlists, stops and destroys the first monitor of the source, if any;
    // the thread is joined outside the list lock. Never called from a
    // monitor's own thread.
    static void StopMonitorThreadForSourceID(const std::string& sourceID);
    // Stops and destroys every monitor.
    static void StopAll();
    // The application and title the source's first monitor follows.
    static bool FindAppWindow(const std::string& sourceID, std::string* appName, std::string* windowTitle);

    // Ends the thread: the stop signal cuts short the wait in progress.
    void StopMonitorThread();

private:
    static constexpr int64_t kSearchIntervalMicros = 1'000'000;
    static constexpr int64_t kHoldIntervalMicros = 100'000;

    // One poll; returns the wait before the next.
    int64_t Poll();

    static zCritical fCapMonListLock;
    static std::list<std::unique_ptr<_CaptureWindowMonitor>> fCaptureMonitorList;

    const std::string fSourceID;
    const std::string fWindowTitle;
    const std::string fAppName;
    MacCaptureManager& fManager;
    std::unique_ptr<zSignal> fStopSignal = zSignal::Factory();
    std::unique_ptr<zThread> fThread;
    std::atomic<bool> fStopRequested{false};
};

} // namespace MC

#pragma once
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "MacCaptureSourceSDKInfo.h"

namespace MC {

class MacCaptureSelectionDialog;
class MacCaptureWindow;

// The registry of the screen device's sources, keyed by source id and kept in
// creation order.
//
// Threads: every operation may be called from any host thread at once, and
// from the window monitors' threads. The registry lock guards the map and
// the list only, briefly; records are shared, so a record found by one
// thread stays alive while another removes it. Changes of one source run
// under its record's control lock (see SourceControl); reads take no lock
// beyond the registry's. Lock order: a record's control lock, then the
// registry's or the inventory's. The host's callbacks run under a source's
// observer and callback locks and may read anything, taking the registry,
// inventory and monitor-list locks; so those three are never held while
// waiting for a capture thread (stopping a stream or a display link, joining
// a monitor).
class MacCaptureManager {
public:
    using RecordRef = std::shared_ptr<MacCaptureSourceSDKInfo>;

    // Holds one source's control lock for its scope: the changes made while
    // it lives do not interleave with any other change of that source. Empty
    // (false) when the source does not exist or has been removed meanwhile.
    class SourceControl {
    public:
        SourceControl() = default;
        explicit SourceControl(RecordRef record);
        SourceControl(RecordRef record, std::try_to_lock_t);
        explicit operator bool() const { return fRecord != nullptr; }
        MacCaptureSourceSDKInfo* operator->() const { return fRecord.get(); }
        MacCaptureSourceSDKInfo& operator*() const { return *fRecord; }

    private:
        RecordRef fRecord;
        std::unique_lock<std::recursive_mutex> fLock;
    };

    MacCaptureManager();
    ~MacCaptureManager();
    MacCaptureManager(const MacCaptureManager&) = delete;
    MacCaptureManager& operator=(const MacCaptureManager&) = delete;

    // An empty id gets a generated UUID, an empty name the localised default
    // name. Null when the id is taken. The source lives until it is removed;
    // `createdID`, when given, receives its id, for callers that may race a
    // removal from another thread and so must not read it off the source.
    MacCaptureSource* addSource(const std::string& id, const std::string& displayName,
                                std::string* createdID = nullptr);
    bool removeSource(const std::string& id);
    // Valid while the source is not removed: for callers that know it stays.
    MacCaptureSource* getSource(const std::string& id) const;
    MacCaptureSource* getSource(unsigned int index) const;
    // The record, kept alive by the caller's reference; null when unknown.
    RecordRef findRecord(const std::string& id) const;
    RecordRef findRecord(unsigned int index) const;
    SourceControl control(const std::string& id) const;
    // Empty also while another thread is changing the source: for the window
    // monitor, which must never wait for a host call that may be stopping it.
    SourceControl tryControl(const std::string& id) const;
    size_t sourceCount() const;
    bool hasSourceWithName(const std::string& name) const;
    std::string _GenerateUniqueName() const;
    std::string getDeviceName() const;
    std::string getDeviceID() const { return QCP_SCREEN_DEVICE_ID; }
    MacCaptureSourceSDKInfo* _GetCaptureSDKInfo(const std::string& id) const;

    // Capture choices, applied to the record and its source in a fixed order.
    // While a selection dialog has been shown the type cannot change: an
    // alert asks the user to close the dialog first.
    void setCaptureType(const std::string& id, int32_t type, const zRect* region);
    void setCaptureDisplayIndex(const std::string& id, int index);
    // Follows the display by id; after an unplug, falls back to the display
    // now at the stored index, then to the main display; -1 when none.
    int32_t getCaptureDisplayIndex(const std::string& id);
    void setCaptureMode(const std::string& id, int mode, const zRect* region);
    void setCaptureWindow(const std::string& id, int windowID, bool retarget);
    // The inventory's record of the source's window; the caller holds a
    // RefreshLock while it uses it.
    MacCaptureWindow* getCaptureWindow(const std::string& id) const;

    void startSource(const std::string& id);
    void stopSource(const std::string& id);
    void stopAllSources();

    // Window monitors: one thread per source that follows its window.
    void startCaptureMonitorForSourceID(const std::string& id, const std::string& windowTitle,
                                        const std::string& appName);
    void stopCaptureMonitorForSourceID(const std::string& id);
    bool getCaptureMonitorAppWindowForSourceID(const std::string& id, std::string* appName,
                                               std::string* windowTitle) const;

    bool selectionPromptShown() const { return fSelectionPromptShown; }
    void setSelectionPromptShown(bool shown) { fSelectionPromptShown = shown; }
    // Opens the selection dialog for the source's display, window or game
    // when `flag` is 0; the answer is applied by handleWindowMonitorSelection
    // on the main queue. Any thread but the main queue's.
    void promptWindowMonitorSelection(const std::string& id, int flag);
    // Whether `id`'s selection dialog is open: from the prompt until its answer.
    bool isSelectionPromptOpen(const std::string& id) const;
    void handleWindowMonitorSelection(const std::string& id, int32_t type, int response, int index,
                                      const zRect* region);

    int32_t getCaptureType(const std::string& id) const;
    uint32_t getCaptureMode(const std::string& id) const;
    void setCaptureRegion(const std::string& id, const zRect& region);
    void getCaptureRegion(const std::string& id, zRect& region) const;
    int32_t getCaptureWindowID(const std::string& id) const;
    void setShowCursor(const std::string& id, bool show);
    bool showCursor(const std::string& id) const;
    void setCaptureAudio(const std::string& id, bool capture);
    bool isCapturingAudio(const std::string& id) const;
    void SetCaptureVideo(const std::string& id, bool capture);
    bool IsCaptureVideo(const std::string& id) const;
    void setWindowCaptureFullscreen(const std::string& id, bool fullscreen);
    bool getWindowCaptureFullscreen(const std::string& id) const;

    void registerNotifySourceChange(const std::string& id, QCP_SourceChangedCallback callback, void* context);
    void registerVideoCallback(const std::string& id, QCP_VideoDataCallback callback, void* context);
    void registerAudioCallback(const std::string& id, QCP_AudioDataCallback callback, void* context);

    // How often the capture source polls a followed window, in microseconds.
    static constexpr long long kWindowPollIntervalMicros = 33333;

private:
    void showCloseSelectionDialogAlert() const;

    mutable std::mutex fRegistryLock;
    std::map<std::string, RecordRef> fSourcesByID;
    std::vector<RecordRef> fSourcesInOrder;
    std::atomic<bool> fSelectionPromptShown{false};
    mutable std::mutex fPromptLock;
    std::string fPromptSourceID; // whose selection dialog is open; guarded by fPromptLock
    // Declared last: destroyed first, once nothing can answer through it.
    std::unique_ptr<MacCaptureSelectionDialog> fSelectionDialog;
};

} // namespace MC

#pragma once
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "MacCaptureSourceSDKInfo.h"

namespace MC {

class MacCaptureWindow;

// The registry of the screen device's sources, keyed by source id and kept in
// creation order. It is changed only from the host's calls, so it takes no
// lock of its own.
class MacCaptureManager {
public:
    MacCaptureManager();
    ~MacCaptureManager();
    MacCaptureManager(const MacCaptureManager&) = delete;
    MacCaptureManager& operator=(const MacCaptureManager&) = delete;

    // An empty id gets a generated UUID, an empty name the localised default
    // name. Null when the id is taken.
    MacCaptureSource* addSource(const std::string& id, const std::string& displayName);
    bool removeSource(const std::string& id);
    MacCaptureSource* getSource(const std::string& id) const;
    MacCaptureSource* getSource(unsigned int index) const;
    size_t sourceCount() const { return fSourcesByID.size(); }
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
    // The inventory's record of the source's window; the caller holds the
    // inventory lock while it uses it.
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

    std::map<std::string, MacCaptureSourceSDKInfo*> fSourcesByID;
    std::vector<std::unique_ptr<MacCaptureSourceSDKInfo>> fSourcesInOrder;
    bool fSelectionPromptShown = false;
};

} // namespace MC

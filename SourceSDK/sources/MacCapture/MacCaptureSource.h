#pragma once
#include <mutex>
#include <string>
#include <vector>

#include "zRect.h"

namespace MC {

class MacCaptureObserver;

// One capture source: what to capture (a display, a rectangle of it, or a
// window), at which output size, with or without the cursor, and the
// observers that receive its frames.
class MacCaptureSource {
public:
    struct Frame {
        double x = 0, y = 0, width = 0, height = 0;
    };

    MacCaptureSource(const std::string& sourceID, const std::string& sourceName);
    ~MacCaptureSource();
    MacCaptureSource(const MacCaptureSource&) = delete;
    MacCaptureSource& operator=(const MacCaptureSource&) = delete;

    const std::string& sourceID() const { return fSourceID; }
    const std::string& sourceName() const { return fSourceName; }

    // Refused until a frame of non-zero size is set: the stream needs one.
    bool setCaptureDisplay(unsigned int displayID);
    unsigned int getCaptureDisplay() const { return fDisplayID; }
    bool setCaptureFrame(float x, float y, float width, float height);
    zRect getCaptureFrame() const;
    const Frame& captureFrame() const { return fCaptureFrame; }
    // Window 0 is refused.
    bool setCaptureWindow(int windowID, long long userData);
    unsigned int captureWindow() const { return fWindowID; }
    long long windowUserData() const { return fWindowUserData; }
    void setShowCursor(bool show) { fShowCursor = show; }
    bool showsCursor() const { return fShowCursor; }
    void setOutputSize(float width, float height);
    double outputWidth() const { return fOutputWidth; }
    double outputHeight() const { return fOutputHeight; }
    bool isRunng() const { return fRunning; }

    void registerObserver(MacCaptureObserver* observer);
    // Removes the first occurrence; an absent observer is ignored.
    void removeObserver(MacCaptureObserver* observer);
    std::vector<MacCaptureObserver*> observers() const;

private:
    const std::string fSourceID;
    const std::string fSourceName;
    bool fRunning = false;
    mutable std::mutex fObserverLock;
    std::vector<MacCaptureObserver*> fObservers;
    double fOutputWidth = 0;
    double fOutputHeight = 0;
    Frame fCaptureFrame;
    bool fHasSourceRect = false;
    unsigned int fDisplayID = 0;
    unsigned int fWindowID = 0;
    long long fWindowUserData = 0;
    bool fShowCursor = false;
};

} // namespace MC

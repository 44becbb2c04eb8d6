#include "MacCaptureSource.h"

#include <algorithm>

namespace MC {

MacCaptureSource::MacCaptureSource(const std::string& sourceID, const std::string& sourceName)
    : fSourceID(sourceID), fSourceName(sourceName) {}

MacCaptureSource::~MacCaptureSource() {
    std::lock_guard lock(fObserverLock);
    fObservers.clear();
}

bool MacCaptureSource::setCaptureDisplay(unsigned int displayID) {
    if (!fHasSourceRect || fCaptureFrame.width == 0 || fCaptureFrame.height == 0) return false;
    fDisplayID = displayID;
    fWindowID = 0;
    return true;
}

bool MacCaptureSource::setCaptureFrame(float x, float y, float width, float height) {
    fCaptureFrame = {x, y, width, height};
    fHasSourceRect = true;
    fWindowID = 0;
    return true;
}

zRect MacCaptureSource::getCaptureFrame() const {
    const int left = int(fCaptureFrame.x);
    const int top = int(fCaptureFrame.y);
    return {left, top, left + int(fCaptureFrame.width), top + int(fCaptureFrame.height)};
}

bool MacCaptureSource::setCaptureWindow(int windowID, long long userData) {
    if (windowID == 0) return false;
    fWindowID = unsigned(windowID);
    fWindowUserData = userData;
    return true;
}

void MacCaptureSource::setOutputSize(float width, float height) {
    fOutputWidth = width;
    fOutputHeight = height;
}

void MacCaptureSource::registerObserver(MacCaptureObserver* observer) {
    std::lock_guard lock(fObserverLock);
    fObservers.push_back(observer);
}

void MacCaptureSource::removeObserver(MacCaptureObserver* observer) {
    std::lock_guard lock(fObserverLock);
    if (auto it = std::find(fObservers.begin(), fObservers.end(), observer); it != fObservers.end())
        fObservers.erase(it);
}

std::vector<MacCaptureObserver*> MacCaptureSource::observers() const {
    std::lock_guard lock(fObserverLock);
    return fObservers;
}

} // namespace MC

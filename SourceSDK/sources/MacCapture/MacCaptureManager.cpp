#include "MacCaptureManager.h"

#include <algorithm>
#include <cstdio>

#include "CaptureWindowMonitor.h"
#include "CommonSDKVariables.h"
#include "zIDGenerator.h"

namespace MC {
namespace {
constexpr const char* kDeviceNameKey = "obr_capture_name";

std::string Translated(const char* key) {
    const char* text = CSDK::TranslateString(key);
    return text ? text : "";
}
} // namespace

MacCaptureManager::MacCaptureManager() = default;

MacCaptureManager::~MacCaptureManager() {
    _CaptureWindowMonitor::StopAll();
    // An open selection dialog is cancelled here once dialogs exist.
    stopAllSources();
    fSourcesByID.clear();
    for (auto& record : fSourcesInOrder) record.reset();
    fSourcesInOrder.clear();
}

MacCaptureSource* MacCaptureManager::addSource(const std::string& id, const std::string& displayName) {
    const std::string name = displayName.empty() ? Translated(kDeviceNameKey) : displayName;
    if (fSourcesByID.count(id)) return nullptr;
    const std::string sourceID = id.empty() ? zIDGenerator::GenerateUUID() : id;

    auto record = std::make_unique<MacCaptureSourceSDKInfo>(std::make_unique<MacCaptureSource>(sourceID, name));
    record->source->setShowCursor(record->showCursor);
    MacCaptureSourceSDKInfo* info = record.get();
    fSourcesByID.emplace(sourceID, info);
    fSourcesInOrder.push_back(std::move(record));
    info->source->registerObserver(info);
    // Registration with the system audio driver, which feeds ProcessAudioData,
    // joins here with the audio chain.
    return info->source.get();
}

bool MacCaptureManager::removeSource(const std::string& id) {
    auto found = fSourcesByID.find(id);
    if (found == fSourcesByID.end()) return false;
    // The source's window monitor reads the registry: it goes first.
    _CaptureWindowMonitor::StopMonitorThreadForSourceID(id);
    fSourcesByID.erase(found);
    auto inOrder = std::find_if(fSourcesInOrder.begin(), fSourcesInOrder.end(),
                                [&](const auto& record) { return record->source->sourceID() == id; });
    std::unique_ptr<MacCaptureSourceSDKInfo> record = std::move(*inOrder);
    fSourcesInOrder.erase(inOrder);
    return true; // the record, and with it the source, is destroyed here
}

MacCaptureSource* MacCaptureManager::getSource(const std::string& id) const {
    MacCaptureSourceSDKInfo* info = _GetCaptureSDKInfo(id);
    return info ? info->source.get() : nullptr;
}

MacCaptureSource* MacCaptureManager::getSource(unsigned int index) const {
    return index < fSourcesInOrder.size() ? fSourcesInOrder[index]->source.get() : nullptr;
}

bool MacCaptureManager::hasSourceWithName(const std::string& name) const {
    return std::any_of(fSourcesInOrder.begin(), fSourcesInOrder.end(),
                       [&](const auto& record) { return record->source->sourceName() == name; });
}

std::string MacCaptureManager::_GenerateUniqueName() const {
    const std::string base = Translated(kDeviceNameKey);
    for (unsigned n = 0;; ++n) {
        char name[1024];
        std::snprintf(name, sizeof name, "%s %u", base.c_str(), n);
        if (!hasSourceWithName(name)) return name;
    }
}

std::string MacCaptureManager::getDeviceName() const { return Translated(kDeviceNameKey); }

MacCaptureSourceSDKInfo* MacCaptureManager::_GetCaptureSDKInfo(const std::string& id) const {
    auto found = fSourcesByID.find(id);
    return found == fSourcesByID.end() ? nullptr : found->second;
}

int32_t MacCaptureManager::getCaptureType(const std::string& id) const {
    auto* info = _GetCaptureSDKInfo(id);
    return info ? info->captureType : kCaptureDisplay;
}

uint32_t MacCaptureManager::getCaptureMode(const std::string& id) const {
    auto* info = _GetCaptureSDKInfo(id);
    return info ? uint32_t(info->getCaptureMode()) : 0xFFFFFFFFu;
}

void MacCaptureManager::setCaptureRegion(const std::string& id, const zRect& region) {
    if (auto* info = _GetCaptureSDKInfo(id)) info->region = region;
}

void MacCaptureManager::getCaptureRegion(const std::string& id, zRect& region) const {
    if (auto* info = _GetCaptureSDKInfo(id)) region = info->region;
}

int32_t MacCaptureManager::getCaptureWindowID(const std::string& id) const {
    auto* info = _GetCaptureSDKInfo(id);
    return info ? info->windowID : 0;
}

void MacCaptureManager::setShowCursor(const std::string& id, bool show) {
    if (auto* info = _GetCaptureSDKInfo(id)) {
        info->showCursor = show;
        info->source->setShowCursor(show);
    }
}

bool MacCaptureManager::showCursor(const std::string& id) const {
    auto* info = _GetCaptureSDKInfo(id);
    return info && info->showCursor;
}

void MacCaptureManager::setCaptureAudio(const std::string& id, bool capture) {
    // Turning audio on starts the system audio chain once it exists.
    if (auto* info = _GetCaptureSDKInfo(id)) info->captureAudio = capture;
}

bool MacCaptureManager::isCapturingAudio(const std::string& id) const {
    auto* info = _GetCaptureSDKInfo(id);
    return info && info->captureAudio;
}

void MacCaptureManager::SetCaptureVideo(const std::string& id, bool capture) {
    if (auto* info = _GetCaptureSDKInfo(id)) info->captureVideo = capture;
}

bool MacCaptureManager::IsCaptureVideo(const std::string& id) const {
    auto* info = _GetCaptureSDKInfo(id);
    return info && info->captureVideo;
}

void MacCaptureManager::setWindowCaptureFullscreen(const std::string& id, bool fullscreen) {
    if (auto* info = _GetCaptureSDKInfo(id)) info->windowCaptureFullscreen = fullscreen;
}

bool MacCaptureManager::getWindowCaptureFullscreen(const std::string& id) const {
    auto* info = _GetCaptureSDKInfo(id);
    return info && info->windowCaptureFullscreen;
}

void MacCaptureManager::startSource(const std::string& id) {
    if (MacCaptureSource* source = getSource(id)) source->start();
}

void MacCaptureManager::stopSource(const std::string& id) {
    if (MacCaptureSource* source = getSource(id)) source->stop();
}

void MacCaptureManager::stopAllSources() {
    for (auto& record : fSourcesInOrder) record->source->stop();
}

void MacCaptureManager::startCaptureMonitorForSourceID(const std::string& id, const std::string& windowTitle,
                                                       const std::string& appName) {
    _CaptureWindowMonitor::Start(*this, id, windowTitle, appName);
}

void MacCaptureManager::stopCaptureMonitorForSourceID(const std::string& id) {
    _CaptureWindowMonitor::StopMonitorThreadForSourceID(id);
}

bool MacCaptureManager::getCaptureMonitorAppWindowForSourceID(const std::string& id, std::string* appName,
                                                              std::string* windowTitle) const {
    return _CaptureWindowMonitor::FindAppWindow(id, appName, windowTitle);
}

void MacCaptureManager::registerNotifySourceChange(const std::string& id, QCP_SourceChangedCallback callback,
                                                   void* context) {
    if (auto* info = _GetCaptureSDKInfo(id)) {
        zLocker lock(info->callbackLock);
        info->sourceChangedCallback = callback;
        info->sourceChangedContext = context;
    }
}

void MacCaptureManager::registerVideoCallback(const std::string& id, QCP_VideoDataCallback callback, void* context) {
    if (auto* info = _GetCaptureSDKInfo(id)) {
        zLocker lock(info->callbackLock);
        info->videoCallback = callback;
        info->videoContext = context;
    }
}

void MacCaptureManager::registerAudioCallback(const std::string& id, QCP_AudioDataCallback callback, void* context) {
    if (auto* info = _GetCaptureSDKInfo(id)) {
        zLocker lock(info->callbackLock);
        info->audioCallback = callback;
        info->audioContext = context;
    }
}

} // namespace MC

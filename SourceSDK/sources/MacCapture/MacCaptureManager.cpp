#include "MacCaptureManager.h"

#include <algorithm>
#include <cstdio>

#include "CaptureWindowMonitor.h"
#include "CommonSDKVariables.h"
#include "MacSystemAudio/SystemAudioDriver.h"
#include "Selection/MacCaptureSelectionDialog.h"
#include "zIDGenerator.h"
#include "zTraceManager.h"

namespace MC {
namespace {
constexpr const char* kDeviceNameKey = "obr_capture_name";

std::string Translated(const char* key) {
    const char* text = CSDK::TranslateString(key);
    return text ? text : "";
}
} // namespace

MacCaptureManager::SourceControl::SourceControl(RecordRef record) {
    // From inside the source's own callback a change would wait for that
    // callback to return: refused.
    if (record->isDeliveringOnThisThread()) {
        zTraceManager::Default().TraceMessage(QCP_FOURCC('n', 'o', 't', 'e'),
                                              "a source cannot be changed from inside its own callback");
        return;
    }
    fRecord = std::move(record);
    fLock = std::unique_lock(fRecord->controlLock);
    if (fRecord->removed) {
        fLock.unlock();
        fRecord.reset();
    }
}

MacCaptureManager::SourceControl::SourceControl(RecordRef record, std::try_to_lock_t)
    : fRecord(std::move(record)), fLock(fRecord->controlLock, std::try_to_lock) {
    if (!fLock.owns_lock() || fRecord->removed) {
        if (fLock.owns_lock()) fLock.unlock();
        fRecord.reset();
    }
}

MacCaptureManager::MacCaptureManager() : fSelectionDialog(std::make_unique<MacCaptureSelectionDialog>()) {}

MacCaptureManager::~MacCaptureManager() {
    _CaptureWindowMonitor::StopAll();
    fSelectionDialog->closeSelectionWindow();
    stopAllSources();
    for (const RecordRef& record : fSourcesInOrder) SystemAudioDriver::Default()->unregisterAudioReceiver(record.get());
    // Uninitialisation overlaps no other call: the records, and with them
    // the sources, go with the registry.
}

MacCaptureSource* MacCaptureManager::addSource(const std::string& id, const std::string& displayName,
                                               std::string* createdID) {
    const std::string name = displayName.empty() ? Translated(kDeviceNameKey) : displayName;
    const std::string sourceID = id.empty() ? zIDGenerator::GenerateUUID() : id;
    auto record = std::make_shared<MacCaptureSourceSDKInfo>(std::make_unique<MacCaptureSource>(sourceID, name));
    record->source->setShowCursor(record->showCursor);
    {
        std::lock_guard lock(fRegistryLock);
        if (!fSourcesByID.emplace(sourceID, record).second) return nullptr;
        fSourcesInOrder.push_back(record);
    }
    record->source->registerObserver(record.get());
    // System audio reaches the source's ProcessAudioData while it exists.
    SystemAudioDriver::Default()->registerAudioReceiver(record.get());
    if (createdID) *createdID = sourceID;
    return record->source.get();
}

bool MacCaptureManager::removeSource(const std::string& id) {
    bool prompted = false;
    {
        std::lock_guard lock(fPromptLock);
        prompted = fPromptSourceID == id;
    }
    // Its dialog answers cancel and closes: there is nothing left to choose for.
    if (prompted) fSelectionDialog->closeSelectionWindow();
    RecordRef record;
    {
        std::lock_guard lock(fRegistryLock);
        auto found = fSourcesByID.find(id);
        if (found == fSourcesByID.end()) return false;
        // Destroying the source from inside its own callback would wait for
        // that callback to return.
        if (found->second->isDeliveringOnThisThread()) return false;
        record = std::move(found->second);
        fSourcesByID.erase(found);
        std::erase(fSourcesInOrder, record);
    }
    {
        // Waits for a change in progress; changes that wait behind it find
        // the record removed and do nothing.
        std::lock_guard lock(record->controlLock);
        record->removed = true;
    }
    // The host hears nothing from the source once this returns, even while
    // another thread still holds the record.
    record->clearCallbacks();
    // Waits for a packet being delivered to it; the last receiver's going
    // stops the audio engine.
    SystemAudioDriver::Default()->unregisterAudioReceiver(record.get());
    // The monitor reads the registry and takes the control lock: it is
    // stopped outside both. The record, and with it the source, is destroyed
    // by whichever thread lets go of it last; never a monitor, whose thread
    // has ended by now.
    _CaptureWindowMonitor::StopMonitorThreadForSourceID(id);
    return true;
}

MacCaptureManager::RecordRef MacCaptureManager::findRecord(const std::string& id) const {
    std::lock_guard lock(fRegistryLock);
    const auto found = fSourcesByID.find(id);
    return found == fSourcesByID.end() ? nullptr : found->second;
}

MacCaptureManager::RecordRef MacCaptureManager::findRecord(unsigned int index) const {
    std::lock_guard lock(fRegistryLock);
    return index < fSourcesInOrder.size() ? fSourcesInOrder[index] : nullptr;
}

MacCaptureManager::SourceControl MacCaptureManager::control(const std::string& id) const {
    RecordRef record = findRecord(id);
    return record ? SourceControl(std::move(record)) : SourceControl();
}

MacCaptureManager::SourceControl MacCaptureManager::tryControl(const std::string& id) const {
    RecordRef record = findRecord(id);
    return record ? SourceControl(std::move(record), std::try_to_lock) : SourceControl();
}

size_t MacCaptureManager::sourceCount() const {
    std::lock_guard lock(fRegistryLock);
    return fSourcesByID.size();
}

MacCaptureSource* MacCaptureManager::getSource(const std::string& id) const {
    const RecordRef record = findRecord(id);
    return record ? record->source.get() : nullptr;
}

MacCaptureSource* MacCaptureManager::getSource(unsigned int index) const {
    const RecordRef record = findRecord(index);
    return record ? record->source.get() : nullptr;
}

bool MacCaptureManager::hasSourceWithName(const std::string& name) const {
    std::lock_guard lock(fRegistryLock);
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
    return findRecord(id).get();
}

int32_t MacCaptureManager::getCaptureType(const std::string& id) const {
    const RecordRef info = findRecord(id);
    return info ? info->captureType.load() : int32_t(kCaptureDisplay);
}

uint32_t MacCaptureManager::getCaptureMode(const std::string& id) const {
    const RecordRef info = findRecord(id);
    return info ? uint32_t(info->getCaptureMode()) : 0xFFFFFFFFu;
}

void MacCaptureManager::setCaptureRegion(const std::string& id, const zRect& region) {
    if (const SourceControl info = control(id)) info->setRegion(region);
}

void MacCaptureManager::getCaptureRegion(const std::string& id, zRect& region) const {
    if (const RecordRef info = findRecord(id)) region = info->getRegion();
}

int32_t MacCaptureManager::getCaptureWindowID(const std::string& id) const {
    const RecordRef info = findRecord(id);
    return info ? info->windowID.load() : 0;
}

void MacCaptureManager::setShowCursor(const std::string& id, bool show) {
    if (const SourceControl info = control(id)) {
        info->showCursor = show;
        info->source->setShowCursor(show);
    }
}

bool MacCaptureManager::showCursor(const std::string& id) const {
    const RecordRef info = findRecord(id);
    return info && info->showCursor;
}

void MacCaptureManager::setCaptureAudio(const std::string& id, bool capture) {
    if (capture) SystemAudioDriver::Startup();
    if (const SourceControl info = control(id)) info->captureAudio = capture;
}

bool MacCaptureManager::isCapturingAudio(const std::string& id) const {
    const RecordRef info = findRecord(id);
    return info && info->captureAudio;
}

void MacCaptureManager::SetCaptureVideo(const std::string& id, bool capture) {
    if (const SourceControl info = control(id)) info->captureVideo = capture;
}

bool MacCaptureManager::IsCaptureVideo(const std::string& id) const {
    const RecordRef info = findRecord(id);
    return info && info->captureVideo;
}

void MacCaptureManager::setWindowCaptureFullscreen(const std::string& id, bool fullscreen) {
    if (const SourceControl info = control(id)) info->windowCaptureFullscreen = fullscreen;
}

bool MacCaptureManager::getWindowCaptureFullscreen(const std::string& id) const {
    const RecordRef info = findRecord(id);
    return info && info->windowCaptureFullscreen;
}

void MacCaptureManager::startSource(const std::string& id) {
    if (const SourceControl info = control(id)) info->source->start();
}

void MacCaptureManager::stopSource(const std::string& id) {
    if (const SourceControl info = control(id)) info->source->stop();
}

void MacCaptureManager::stopAllSources() {
    std::vector<RecordRef> records;
    {
        std::lock_guard lock(fRegistryLock);
        records = fSourcesInOrder;
    }
    for (const RecordRef& record : records)
        if (const SourceControl info{record}) info->source->stop();
}

void MacCaptureManager::startCaptureMonitorForSourceID(const std::string& id, const std::string& windowTitle,
                                                       const std::string& appName) {
    // Under the control lock, so that a removal cannot slip in between the
    // check and the start and leave a monitor behind for a removed source.
    if (const SourceControl info = control(id)) _CaptureWindowMonitor::Start(*this, id, windowTitle, appName);
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
    if (const SourceControl info = control(id)) {
        zLocker lock(info->callbackLock);
        info->sourceChangedCallback = callback;
        info->sourceChangedContext = context;
    }
}

void MacCaptureManager::registerVideoCallback(const std::string& id, QCP_VideoDataCallback callback, void* context) {
    if (const SourceControl info = control(id)) {
        zLocker lock(info->callbackLock);
        info->videoCallback = callback;
        info->videoContext = context;
    }
}

void MacCaptureManager::registerAudioCallback(const std::string& id, QCP_AudioDataCallback callback, void* context) {
    if (const SourceControl info = control(id)) {
        zLocker lock(info->callbackLock);
        info->audioCallback = callback;
        info->audioContext = context;
    }
}

} // namespace MC

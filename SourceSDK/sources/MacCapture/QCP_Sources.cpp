// Sources of the two devices: enumeration, creation, removal, callbacks.
#include <cstring>

#include "CommonSDKVariables.h"
#include "EntryPointSupport.h"
#include "MacCaptureWindowManager.h"
#include "PluginGlobals.h"
#include "QCP_API.h"
#include "VNAudioDriverManager.h"

using qcp::IsAudioDevice;
using qcp::Key;

namespace {
constexpr const char* kAudioDeviceNameKey = "obr_system_audio_name";
}

extern "C" {

uint32_t QCP_GetSourceCount(const char* deviceId) {
    return qcp::Guarded(__func__, 0u, [&] {
        return IsAudioDevice(deviceId) ? 1u : uint32_t(qcp::Manager().sourceCount());
    });
}

void QCP_GetSourceId(const char* deviceId, uint32_t index, char* buffer, uint32_t* length) {
    qcp::Guarded(__func__, [&] {
        if (IsAudioDevice(deviceId)) return qcp::CopyOut(QCP_AUDIO_SOURCE_ID, buffer, length);
        // An index out of range is a caller error; it writes nothing.
        if (const auto record = qcp::Manager().findRecord(index)) qcp::CopyOut(record->source->sourceID(), buffer, length);
    });
}

void QCP_GetSourceDisplayName(const char* deviceId, const char* sourceId, const char*, char* buffer,
                              uint32_t* length) {
    qcp::Guarded(__func__, [&] {
        if (IsAudioDevice(deviceId)) {
            const char* name = CSDK::TranslateString(kAudioDeviceNameKey);
            return qcp::CopyOut(name ? name : "", buffer, length);
        }
        if (const auto record = qcp::Manager().findRecord(Key(sourceId)))
            qcp::CopyOut(record->source->sourceName(), buffer, length);
    });
}

uint32_t QCP_GetSourceState(const char* deviceId, const char* sourceId) {
    return qcp::Guarded(__func__, uint32_t(QCP_SOURCE_STATE_UNKNOWN), [&]() -> uint32_t {
        if (IsAudioDevice(deviceId) || qcp::Manager().findRecord(Key(sourceId)))
            return QCP_SOURCE_STATE_EXISTS;
        return QCP_SOURCE_STATE_UNKNOWN;
    });
}

int QCP_CreateSource(const char*, char** outSourceId) {
    return qcp::Guarded(__func__, 0, [&] {
        std::string id;
        if (!qcp::Manager().addSource({}, {}, &id)) return 0;
        char* copy = new char[id.size() + 1];
        std::memcpy(copy, id.data(), id.size());
        copy[id.size()] = '\0';
        if (outSourceId)
            *outSourceId = copy;
        else
            delete[] copy;
        return 1;
    });
}

int QCP_CreateNamedSource(const char*, const char* sourceId) {
    return qcp::Guarded(__func__, 0, [&] { return qcp::Manager().addSource(Key(sourceId), {}) ? 1 : 0; });
}

void QCP_DeleteString(char* text) { delete[] text; }

int QCP_RemoveSource(const char*, const char* sourceId) {
    return qcp::Guarded(__func__, 0, [&] { return qcp::Manager().removeSource(Key(sourceId)) ? 1 : 0; });
}

void QCP_RegisterSourceChangedCallback(const char* deviceId, const char* sourceId,
                                       QCP_SourceChangedCallback callback, void* context) {
    qcp::Guarded(__func__, [&] {
        if (!IsAudioDevice(deviceId)) qcp::Manager().registerNotifySourceChange(Key(sourceId), callback, context);
    });
}

void QCP_RegisterVideoDataArrivedCallback(const char*, const char* sourceId, QCP_VideoDataCallback callback,
                                          void* context) {
    // No audio branch: the audio device's source id names no screen source.
    qcp::Guarded(__func__, [&] { qcp::Manager().registerVideoCallback(Key(sourceId), callback, context); });
}

void QCP_RegisterAudioDataArrivedCallback(const char* deviceId, const char* sourceId, QCP_AudioDataCallback callback,
                                          void* context) {
    qcp::Guarded(__func__, [&] {
        if (IsAudioDevice(deviceId)) {
            VNAudioDriverManager::checkAndPromptToInstall(nullptr, false);
            qcp::SystemAudio().RegisterAudioDataCallback(callback, context);
        } else {
            qcp::Manager().registerAudioCallback(Key(sourceId), callback, context);
        }
    });
}

int QCP_ShowCustomConfigDialog(const char* deviceId, const char* sourceId, int flag) {
    qcp::Guarded(__func__, [&] {
        if (IsAudioDevice(deviceId)) return;
        MC::MacCaptureWindowManager::refreshLists();
        qcp::Manager().promptWindowMonitorSelection(Key(sourceId), flag);
    });
    return 1;
}

void QCP_QueryParameterOptions(const char*, const char*, const char*, const char*, uint32_t* count) {
    if (count) *count = 0;
}

int QCP_SourceSupportsProperty(const char* deviceId, const char*, const char* property) {
    if (!property) return 0;
    const std::string_view name = property;
    if (IsAudioDevice(deviceId)) return name == "ProvidesAudio" || name == "NumChannels";
    return name == "ProvidesVideo" || name == "ProvidesAudio";
}

int QCP_GetVisibleParameters(const char* deviceId) { return IsAudioDevice(deviceId) ? 0 : 1; }

} // extern "C"

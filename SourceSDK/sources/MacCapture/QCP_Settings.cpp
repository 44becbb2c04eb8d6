// The settings record and the parameter list. Each function keeps its
// serialised text in a buffer of its own between the host's size query and
// its fill; the fill copies exactly the bytes the query reported, no NUL.
#include <algorithm>
#include <cstring>

#include "EntryPointSupport.h"
#include "MacCaptureLogging.h"
#include "PluginGlobals.h"
#include "QCP_API.h"
#include "SourceSettings.h"
#include "zXML.h"

using qcp::IsAudioDevice;
using qcp::Key;

namespace {

// Copies up to `length` serialised bytes and empties the buffer.
void FillFrom(zBuffer& serialised, char* buffer, uint32_t length) {
    std::memcpy(buffer, serialised.Data(), std::min<size_t>(length, serialised.Size()));
    serialised.Clear();
}

bool Serialise(const zRecord& record, zBuffer& serialised) {
    serialised.Clear();
    return zXML::RecordToBuffer(record, serialised);
}

} // namespace

extern "C" {

void QCP_GetSourceSettings(const char* deviceId, const char* sourceId, char* buffer, uint32_t* length) {
    // Between a host thread's size query and its fill; each thread has its
    // own, so hosts may ask from several threads at once.
    thread_local zBuffer serialised;
    qcp::Guarded(__func__, [&] {
        if (IsAudioDevice(deviceId)) {
            if (length) *length = 0;
            return;
        }
        if (!length) return;
        MC::MacCaptureManager& manager = qcp::Manager();
        const std::string id = Key(sourceId);
        if (!buffer) {
            if (!manager.findRecord(id)) return;
            zRecord settings("settings");
            MC::SourceSettings::Write(manager, id, settings);
            if (Serialise(settings, serialised))
                *length = uint32_t(serialised.Size());
            else
                MC_LOG(4, "Failed to Write Settings Record to XML\n");
            return;
        }
        FillFrom(serialised, buffer, *length);
        // Fetching the settings of an idle video source starts it, on the
        // whole main display.
        // A host reading its settings from inside the source's own callback
        // is answered, but the source is not started from there.
        const MC::MacCaptureManager::RecordRef record = manager.findRecord(id);
        if (!record || record->isDeliveringOnThisThread()) return;
        const MC::MacCaptureManager::SourceControl control(record);
        if (control && control->captureVideo && !control->source->isRunng()) {
            manager.setCaptureDisplayIndex(id, 0);
            manager.setCaptureMode(id, MC::kCaptureWholeDisplay, nullptr);
            manager.startSource(id);
        }
    });
}

int QCP_SetSourceSettings(const char* deviceId, const char* sourceId, const char* xml) {
    return qcp::Guarded(__func__, 1, [&] {
        const std::string id = Key(sourceId);
        if (IsAudioDevice(deviceId) || !xml || !qcp::Manager().findRecord(id)) return 1;
        zRecord settings;
        if (!zXML::ParseBuffer(xml, settings)) return 1;
        MC::SourceSettings::Apply(qcp::Manager(), id, settings);
        return 1;
    });
}

int QCP_GetValidParameterValues(const char* deviceId, const char* sourceId, char* buffer, uint32_t* length) {
    thread_local zBuffer serialised;
    return qcp::Guarded(__func__, 0, [&] {
        if (!length) return 0;
        if (IsAudioDevice(deviceId)) {
            *length = 0;
            return 1;
        }
        if (buffer) {
            FillFrom(serialised, buffer, *length);
            return 1;
        }
        zRecord list("source");
        MC::SourceSettings::WriteParameterList(qcp::Manager().IsCaptureVideo(Key(sourceId)), list);
        if (Serialise(list, serialised)) *length = uint32_t(serialised.Size());
        return 0; // the size query reports 0 even when it succeeded
    });
}

} // extern "C"

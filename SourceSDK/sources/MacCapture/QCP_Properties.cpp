// Named questions about a device or source, answered through a host callback.
#include <cstdint>
#include <string_view>

#include "EntryPointSupport.h"
#include "QCP_API.h"

namespace {
void AnswerInt(void* context, QCP_PropertyCallback callback, int32_t value) {
    callback(context, QCP_PROPERTY_INT32, &value);
}
} // namespace

extern "C" {

int QCP_GetProperty(void* context, QCP_PropertyCallback callback, const char* property, const char* deviceId,
                    const char*) {
    return qcp::Guarded(__func__, 0, [&] {
        if (!callback || !property) return 0;
        const std::string_view name = property;
        if (name == "supports_dynamic_sources") {
            AnswerInt(context, callback, qcp::IsAudioDevice(deviceId) ? 0 : 1);
            return 1;
        }
        if (name == "NumChannels") {
            AnswerInt(context, callback, 2);
            return 1;
        }
        // The application-and-window list and the analytics texts are
        // answered once the inventory and the settings record exist.
        return 0;
    });
}

} // extern "C"

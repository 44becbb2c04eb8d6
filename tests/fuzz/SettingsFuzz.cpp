// Feeds arbitrary bytes to the settings record of a live source, then reads
// the settings back: neither may crash, leak or read out of bounds.
#include <cstdint>
#include <string>
#include <vector>

#include "Platform.h"
#include "QCP_API.h"
#include "SimPlatform.h"

namespace {
const char* kSource = "fuzzed";

bool Initialise() {
    qcp::platform::Install(qcp::platform::sim::MakePlatform());
    QCP_IntitializeLibrary();
    QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, kSource);
    return true;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool initialised = Initialise();
    (void)initialised;
    const std::string xml(reinterpret_cast<const char*>(data), size);
    QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, kSource, xml.c_str());

    uint32_t length = 0;
    QCP_GetSourceSettings(QCP_SCREEN_DEVICE_ID, kSource, nullptr, &length);
    std::vector<char> buffer(length + 1);
    QCP_GetSourceSettings(QCP_SCREEN_DEVICE_ID, kSource, buffer.data(), &length);
    return 0;
}

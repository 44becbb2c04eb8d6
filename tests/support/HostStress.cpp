#include "HostStress.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <thread>
#include <vector>

namespace hoststress {
namespace {

std::string Parameter(const char* name, const std::string& value) {
    return std::string("<parameter name=\"") + name + "\" value=\"" + value + "\"/>";
}

std::string RandomSettings(std::mt19937& random, const std::string& title, const std::string& application) {
    std::string xml = "<settings>" + Parameter("cursor", random() % 2 ? "true" : "false");
    const std::string window = Parameter("capture_window", title) + Parameter("capture_app", application);
    switch (random() % 4) {
    case 0: xml += Parameter("Type", "0") + Parameter("capture_monitor", std::to_string(random() % 3)); break;
    case 1:
        xml += Parameter("Type", "0") + Parameter("capture_monitor", "0") +
               Parameter("capture_monitor_region", "10,20,329,259") + Parameter("capture_monitor_state", "1");
        break;
    case 2: xml += Parameter("Type", "1") + window; break;
    default:
        xml += Parameter("Type", "2") + window + Parameter("capture_game_fullscreen", random() % 2 ? "true" : "false");
    }
    return xml + "</settings>";
}

void ReadEverything(const char* id, std::mt19937& random) {
    uint32_t length = 0;
    QCP_GetSourceSettings(QCP_SCREEN_DEVICE_ID, id, nullptr, &length);
    std::vector<char> settings(length + 1, '\0');
    QCP_GetSourceSettings(QCP_SCREEN_DEVICE_ID, id, settings.data(), &length);
    QCP_GetProperty(nullptr, [](void*, QCP_PropertyType, void*) {}, "analytics_tertiary_type", QCP_SCREEN_DEVICE_ID,
                    id);
    const uint32_t index = uint32_t(random() % 8);
    length = 0;
    QCP_GetSourceId(QCP_SCREEN_DEVICE_ID, index, nullptr, &length);
    std::vector<char> other(length + 1, '\0'); // the source may go between the calls
    QCP_GetSourceId(QCP_SCREEN_DEVICE_ID, index, other.data(), &length);
}

} // namespace

void Receiver::Video(void* context, QCP_VideoBuffer* frame) {
    auto* self = static_cast<Receiver*>(context);
    if (self->removed) self->afterRemoval.fetch_add(1);
    if (frame->surfaceId) {
        if (QCP_Surface* surface = QCP_SurfaceLookup(*frame->surfaceId)) {
            QCP_SurfaceLock(surface);
            (void)QCP_SurfaceGetBaseAddress(surface);
            QCP_SurfaceUnlock(surface);
            QCP_SurfaceRelease(surface);
        }
    }
    if (self->frames.fetch_add(1) % 16 == 0) {
        uint32_t length = 0;
        QCP_GetSourceSettings(QCP_SCREEN_DEVICE_ID, self->id.c_str(), nullptr, &length);
        QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, self->id.c_str(),
                              "<settings><parameter name=\"cursor\" value=\"true\"/></settings>");
    }
}

void Receiver::Changed(void* context, int) {
    auto* self = static_cast<Receiver*>(context);
    if (self->removed) self->afterRemoval.fetch_add(1);
}

void HostThread(int seed, int cycles, const std::atomic<bool>& stop, const std::string& title,
                const std::string& application) {
    std::mt19937 random(seed);
    for (int cycle = 0; cycle < cycles && !stop; ++cycle) {
        Receiver receiver;
        receiver.id = "stress-" + std::to_string(seed) + "-" + std::to_string(cycle);
        const char* id = receiver.id.c_str();
        ASSERT_EQ(QCP_CreateNamedSource(QCP_SCREEN_DEVICE_ID, id), 1);
        QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, id, &Receiver::Video, &receiver);
        QCP_RegisterSourceChangedCallback(QCP_SCREEN_DEVICE_ID, id, &Receiver::Changed, &receiver);
        for (int step = 0; step < 3; ++step) {
            EXPECT_EQ(QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, id, RandomSettings(random, title, application).c_str()),
                      1);
            ReadEverything(id, random);
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 20));
        }
        if (random() % 2) QCP_RegisterVideoDataArrivedCallback(QCP_SCREEN_DEVICE_ID, id, nullptr, nullptr);
        ASSERT_EQ(QCP_RemoveSource(QCP_SCREEN_DEVICE_ID, id), 1);
        receiver.removed = true;
        // The receiver goes out of scope next: under AddressSanitizer a late
        // callback would also be a use after free.
        EXPECT_EQ(receiver.afterRemoval.load(), 0) << receiver.id;
    }
}

} // namespace hoststress

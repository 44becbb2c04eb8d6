// The library and device answers of the host interface.
#include <cstring>

#include "PluginFixture.h"

extern "C" size_t qcp_c_video_buffer_size(void);
extern "C" size_t qcp_c_audio_buffer_size(void);

TEST(HostInterfaceLayout, FourCharacterCodesPutTheFirstCharacterInTheHighByte) {
    EXPECT_EQ(QCP_DEVICE_STATE_READY, QCP_FOURCC('k', 'r', 'e', 'd'));
    EXPECT_EQ(QCP_SOURCE_STATE_EXISTS, QCP_FOURCC('k', 's', 'a', 'v'));
    EXPECT_EQ(QCP_SOURCE_STATE_UNKNOWN, QCP_FOURCC('k', 'n', 'o', 's'));
    EXPECT_EQ(QCP_EVENT_SETTINGS_CHANGED, QCP_FOURCC('k', 's', 'e', 't'));
    EXPECT_EQ(QCP_VIDEO_FORMAT_IOSURFACE, QCP_FOURCC('i', 'o', 's', 'r'));
    EXPECT_EQ(QCP_AUDIO_FORMAT_PCM, 0x6670636Du);
    uint32_t code = QCP_AUDIO_FORMAT_PCM;
    EXPECT_EQ(std::memcmp(&code, "mcpf", 4), 0) << "little-endian bytes in memory";
}

TEST(HostInterfaceLayout, CAndCppAgreeOnTheRecordSizes) {
    EXPECT_EQ(qcp_c_video_buffer_size(), sizeof(QCP_VideoBuffer));
    EXPECT_EQ(qcp_c_audio_buffer_size(), 48u);
}

TEST_F(PluginTest, ModelInfoWritesTheLengthOnBothCalls) {
    uint32_t length = 99;
    QCP_GetModelInfo(nullptr, nullptr, &length);
    EXPECT_EQ(length, 10u);
    char buffer[16];
    std::memset(buffer, 'x', sizeof buffer);
    length = 99;
    QCP_GetModelInfo(nullptr, buffer, &length);
    EXPECT_EQ(length, 10u);
    EXPECT_STREQ(buffer, "MacCapture");
    EXPECT_EQ(buffer[11], 'x') << "exactly 11 bytes written";
}

TEST_F(PluginTest, DeviceIdsFollowSizeQueryThenFill) {
    EXPECT_EQ(QCP_GetDeviceCount(), 2);
    uint32_t length = 0;
    QCP_GetDeviceId(1, nullptr, &length);
    EXPECT_EQ(length, 16u);
    char buffer[17 + 4];
    std::memset(buffer, 'x', sizeof buffer);
    QCP_GetDeviceId(1, buffer, &length);
    EXPECT_STREQ(buffer, "pc-audio-capture");
    EXPECT_EQ(buffer[17], 'x');
    EXPECT_EQ(length, 16u) << "the fill leaves the length alone";

    QCP_GetDeviceId(0, nullptr, &length);
    EXPECT_EQ(length, 10u);
    QCP_GetDeviceId(0, buffer, &length);
    EXPECT_STREQ(buffer, "pc-capture");

    // A length from an earlier query bounds the fill, so a text that grew on
    // another thread in between cannot overrun the host's buffer.
    std::memset(buffer, 'x', sizeof buffer);
    length = 4;
    QCP_GetDeviceId(1, buffer, &length);
    EXPECT_STREQ(buffer, "pc-a");
}

TEST_F(PluginTest, DeviceIdOutOfRangeWritesNothing) {
    for (int32_t index : {2, -1}) {
        uint32_t length = 77;
        char buffer[8] = "keep";
        QCP_GetDeviceId(index, nullptr, &length);
        QCP_GetDeviceId(index, buffer, &length);
        EXPECT_EQ(length, 77u);
        EXPECT_STREQ(buffer, "keep");
    }
    QCP_GetDeviceId(0, nullptr, nullptr); // both null: nothing happens
}

TEST_F(PluginTest, DeviceAnswersTellTheDevicesApartByExactId) {
    EXPECT_EQ(QCP_GetDeviceCategories("pc-audio-capture"), 2u);
    EXPECT_EQ(QCP_GetDeviceCategories("pc-capture"), 8u);
    EXPECT_EQ(QCP_GetDeviceCategories("PC-AUDIO-CAPTURE"), 8u);
    EXPECT_EQ(QCP_GetDeviceCategories("made-up"), 8u);
    EXPECT_EQ(QCP_GetDeviceCategories(nullptr), 8u);
    EXPECT_EQ(QCP_GetDeviceState("anything"), QCP_DEVICE_STATE_READY);
    EXPECT_EQ(QCP_ConnectDevice("pc-capture"), 1);
    EXPECT_EQ(QCP_GetTimescaleTicksPerSec(), 1000000u);
    EXPECT_EQ(QCP_GetVisibleParameters("pc-capture"), 1);
    EXPECT_EQ(QCP_GetVisibleParameters("pc-audio-capture"), 0);
    uint32_t count = 5;
    QCP_QueryParameterOptions(nullptr, nullptr, nullptr, nullptr, &count);
    EXPECT_EQ(count, 0u);
    uint32_t length = 3;
    char buffer[4] = "abc";
    QCP_GetErrorMessage("pc-capture", buffer, &length);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(length, 3u);
}

TEST_F(PluginTest, SupportedPropertiesDifferPerDevice) {
    EXPECT_EQ(QCP_SourceSupportsProperty("pc-audio-capture", nullptr, "NumChannels"), 1);
    EXPECT_EQ(QCP_SourceSupportsProperty("pc-audio-capture", nullptr, "ProvidesAudio"), 1);
    EXPECT_EQ(QCP_SourceSupportsProperty("pc-audio-capture", nullptr, "ProvidesVideo"), 0);
    EXPECT_EQ(QCP_SourceSupportsProperty("pc-capture", nullptr, "NumChannels"), 0);
    EXPECT_EQ(QCP_SourceSupportsProperty("pc-capture", nullptr, "ProvidesVideo"), 1);
    EXPECT_EQ(QCP_SourceSupportsProperty("pc-capture", nullptr, "ProvidesAudio"), 1);
    EXPECT_EQ(QCP_SourceSupportsProperty("pc-capture", nullptr, nullptr), 0);
}

namespace {
struct Answer {
    int calls = 0;
    QCP_PropertyType type{};
    int32_t value = -1;
};
void Record(void* context, QCP_PropertyType type, void* value) {
    auto* answer = static_cast<Answer*>(context);
    ++answer->calls;
    answer->type = type;
    if (type == QCP_PROPERTY_INT32) answer->value = *static_cast<int32_t*>(value);
}
} // namespace

TEST_F(PluginTest, FixedPropertiesAnswerForBothDevices) {
    for (const char* device : {"pc-capture", "pc-audio-capture"}) {
        Answer channels;
        EXPECT_EQ(QCP_GetProperty(&channels, &Record, "NumChannels", device, nullptr), 1);
        EXPECT_EQ(channels.value, 2);
        EXPECT_EQ(channels.type, QCP_PROPERTY_INT32);
    }
    Answer dynamic;
    EXPECT_EQ(QCP_GetProperty(&dynamic, &Record, "supports_dynamic_sources", "pc-audio-capture", nullptr), 1);
    EXPECT_EQ(dynamic.value, 0);
    EXPECT_EQ(QCP_GetProperty(&dynamic, &Record, "supports_dynamic_sources", "pc-capture", nullptr), 1);
    EXPECT_EQ(dynamic.value, 1);
    Answer unknown;
    EXPECT_EQ(QCP_GetProperty(&unknown, &Record, "no_such_property", "pc-capture", nullptr), 0);
    EXPECT_EQ(unknown.calls, 0);
}

namespace {
const char* Translate(const char* key) {
    if (!std::strcmp(key, "obr_capture_name")) return "Screen Capture";
    if (!std::strcmp(key, "obr_system_audio_name")) return "System Audio";
    return key;
}
} // namespace

TEST(PluginLifetime, TranslatorRegisteredBeforeInitialisationIsKept) {
    QCP_RegisterLocalizeStringCallback(&Translate);
    ASSERT_EQ(QCP_IntitializeLibrary(), 1);
    uint32_t length = 0;
    QCP_GetDeviceGroupDisplayNameForID("pc-audio-capture", nullptr, nullptr, &length);
    std::vector<char> buffer(length + 1);
    QCP_GetDeviceGroupDisplayNameForID("pc-audio-capture", nullptr, buffer.data(), &length);
    EXPECT_STREQ(buffer.data(), "System Audio");
    QCP_GetDeviceGroupDisplayNameForID("unknown", nullptr, nullptr, &length);
    EXPECT_EQ(length, std::strlen("Screen Capture"));
    QCP_UninitializeLibrary();

    // Uninitialising removed the translator with the host services.
    ASSERT_EQ(QCP_IntitializeLibrary(), 1);
    QCP_GetDeviceGroupDisplayNameForID("pc-capture", nullptr, nullptr, &length);
    EXPECT_EQ(length, std::strlen("obr_capture_name"));
    QCP_UninitializeLibrary();
}

TEST(PluginLifetime, CallsOutsideTheLibrarysLifeAnswerNeutrallyInsteadOfCrashing) {
    char* id = nullptr;
    EXPECT_EQ(QCP_CreateSource(QCP_SCREEN_DEVICE_ID, &id), 0);
    EXPECT_EQ(id, nullptr);
    EXPECT_EQ(QCP_GetSourceCount(QCP_SCREEN_DEVICE_ID), 0u);
    EXPECT_EQ(QCP_GetSourceState(QCP_SCREEN_DEVICE_ID, "x"), QCP_SOURCE_STATE_UNKNOWN);
    uint32_t length = 7;
    QCP_GetSourceSettings(QCP_SCREEN_DEVICE_ID, "x", nullptr, &length);
    EXPECT_EQ(length, 7u);
    EXPECT_EQ(QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, "x", "<settings/>"), 1);
    QCP_RegisterAudioDataArrivedCallback(QCP_AUDIO_DEVICE_ID, nullptr, nullptr, nullptr);
    QCP_RegisterLogCallback(nullptr, nullptr, nullptr);
    QCP_UninitializeLibrary(); // twice is harmless
}

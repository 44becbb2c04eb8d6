// Audio packets reach the host in a fixed record, as silence when malformed or muted.
#include <algorithm>
#include <cstring>

#include "PluginFixture.h"
#include "PluginGlobals.h"

namespace {
struct Received {
    QCP_AudioBuffer record{};
    std::vector<uint8_t> bytes;
    int calls = 0;
    static void Arrived(void* context, QCP_AudioBuffer* buffer) {
        auto* self = static_cast<Received*>(context);
        ++self->calls;
        self->record = *buffer;
        auto* data = static_cast<const uint8_t*>(buffer->data);
        self->bytes.assign(data, data + buffer->dataBytes);
    }
};

bool AllZero(const std::vector<uint8_t>& bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](uint8_t b) { return b == 0; });
}

void ExpectConstantHeader(const QCP_AudioBuffer& record) {
    EXPECT_EQ(record.format, 0x6670636Du);
    EXPECT_EQ(record.sampleRate, 48000u);
    EXPECT_EQ(record.channels, 2u);
    EXPECT_EQ(record.bitsPerSample, 16u);
    EXPECT_EQ(record.timeStamp, 0u);
    EXPECT_EQ(record.one, 1u);
}
} // namespace

TEST_F(PluginTest, MalformedPacketBecomesSilenceOfWholeFramesWithOneLogLine) {
    InstallLog();
    const std::string id = CreateSource();
    Received received;
    QCP_RegisterAudioDataArrivedCallback("pc-capture", id.c_str(), &Received::Arrived, &received);
    g_pMacCaptureManager->setCaptureAudio(id, true);
    std::vector<uint8_t> packet(4098, 0x5A);
    g_pMacCaptureManager->_GetCaptureSDKInfo(id)->ProcessAudioData(packet.data(), int(packet.size()));

    ASSERT_EQ(received.calls, 1);
    ExpectConstantHeader(received.record);
    EXPECT_EQ(received.record.dataBytes, 4096u);
    EXPECT_EQ(received.bytes.size(), 4096u);
    EXPECT_TRUE(AllZero(received.bytes));
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].level, 3);
    EXPECT_NE(log[0].text.find("    Converted Audio Data Size is Malformed=4096 Packet Size=4\n"), std::string::npos)
        << log[0].text;
}

TEST_F(PluginTest, PacketsPassThroughOnlyWhileCapturingAudio) {
    InstallLog();
    const std::string id = CreateSource();
    Received received;
    QCP_RegisterAudioDataArrivedCallback("pc-capture", id.c_str(), &Received::Arrived, &received);
    MC::MacCaptureSourceSDKInfo* info = g_pMacCaptureManager->_GetCaptureSDKInfo(id);
    std::vector<uint8_t> packet(7200, 0x11);

    info->ProcessAudioData(packet.data(), int(packet.size()));
    ASSERT_EQ(received.calls, 1);
    EXPECT_EQ(received.bytes.size(), 7200u);
    EXPECT_TRUE(AllZero(received.bytes)) << "muted sources still deliver, as zeros";
    EXPECT_NE(received.record.data, packet.data());

    g_pMacCaptureManager->setCaptureAudio(id, true);
    info->ProcessAudioData(packet.data(), int(packet.size()));
    EXPECT_EQ(received.record.data, packet.data()) << "no copy on the way through";
    EXPECT_EQ(received.bytes, packet);
    EXPECT_TRUE(log.empty());
}

TEST_F(PluginTest, SystemAudioDeviceWrapsPacketsWithoutCopying) {
    InstallLog();
    Received received;
    MC::SystemAudioDevice::TPrivate& device = g_MacSystemAudioCapture->Private();
    std::vector<uint8_t> packet(7202, 0x33);
    device.ProcessAudioData(packet.data(), int(packet.size()));
    EXPECT_EQ(received.calls, 0) << "no callback registered yet";

    QCP_RegisterAudioDataArrivedCallback("pc-audio-capture", nullptr, &Received::Arrived, &received);
    device.ProcessAudioData(packet.data(), int(packet.size()));
    ASSERT_EQ(received.calls, 1);
    ExpectConstantHeader(received.record);
    EXPECT_EQ(received.record.dataBytes, 7200u);
    EXPECT_EQ(received.record.data, packet.data());
    ASSERT_EQ(log.size(), 1u);
    EXPECT_NE(log[0].text.find("Malformed=7200 Packet Size=4"), std::string::npos);
}

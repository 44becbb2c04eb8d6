#include "PluginFixture.h"

#include "Platform.h"
#include "SimPlatform.h"

void PluginTest::SetUp() {
    qcp::platform::Install(qcp::platform::sim::MakePlatform());
    ASSERT_EQ(QCP_IntitializeLibrary(), 1);
}

void PluginTest::TearDown() { QCP_UninitializeLibrary(); }

void PluginTest::LogSink(void* context, int level, const char* format, ...) {
    char text[2048];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    static_cast<PluginTest*>(context)->log.push_back({level, text});
}

void PluginTest::InstallLog() { QCP_RegisterLogCallback(nullptr, &LogSink, this); }

std::string PluginTest::SourceId(const char* device, uint32_t index) {
    uint32_t length = 0;
    QCP_GetSourceId(device, index, nullptr, &length);
    std::vector<char> buffer(length + 1, 'x');
    QCP_GetSourceId(device, index, buffer.data(), &length);
    return buffer.data();
}

std::string PluginTest::SourceDisplayName(const char* device, const char* source) {
    uint32_t length = 0;
    QCP_GetSourceDisplayName(device, source, nullptr, nullptr, &length);
    std::vector<char> buffer(length + 1, 'x');
    QCP_GetSourceDisplayName(device, source, nullptr, buffer.data(), &length);
    return buffer.data();
}

std::string PluginTest::CreateSource() {
    char* id = nullptr;
    EXPECT_EQ(QCP_CreateSource(QCP_SCREEN_DEVICE_ID, &id), 1);
    std::string copy = id ? id : "";
    QCP_DeleteString(id);
    return copy;
}

#include "PluginFixture.h"

#include "Platform.h"
#include "SimPlatform.h"

void PluginTest::SetUp() {
    auto platform = qcp::platform::sim::MakePlatform();
    fWorld = &platform->world();
    fUser = &platform->user();
    fWorld->AddScreen({kMainDisplay, {0, 0, 1920, 1080}, 1.0, "Main", 60});
    fWorld->AddScreen({kSecondDisplay, {1920, 56, 1280, 1024}, 1.0, "Side", 60});
    qcp::platform::Install(std::move(platform));
    ASSERT_EQ(QCP_IntitializeLibrary(), 1);
}

std::string PluginTest::Settings(const std::string& source) {
    uint32_t length = 0;
    QCP_GetSourceSettings(QCP_SCREEN_DEVICE_ID, source.c_str(), nullptr, &length);
    std::string xml(length, '\0');
    QCP_GetSourceSettings(QCP_SCREEN_DEVICE_ID, source.c_str(), xml.data(), &length);
    return xml;
}

void PluginTest::SetSettings(const std::string& source, const std::string& xml) {
    EXPECT_EQ(QCP_SetSourceSettings(QCP_SCREEN_DEVICE_ID, source.c_str(), xml.c_str()), 1);
}

std::string PluginTest::Value(const std::string& settings, const std::string& name) {
    const std::string key = "name=\"" + name + "\" value=\"";
    const size_t at = settings.find(key);
    if (at == std::string::npos) return "<absent>";
    const size_t start = at + key.size();
    return settings.substr(start, settings.find('"', start) - start);
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
    // Zeroed: another thread may remove the source between the two calls,
    // and then the fill writes nothing.
    std::vector<char> buffer(length + 1, '\0');
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


// Library lifetime, devices and host services.
#include <stdexcept>
#include <string>

#include "CommonSDKVariables.h"
#include "EntryPointSupport.h"
#include "MacCaptureLogging.h"
#include "MacCaptureWindowManager.h"
#include "PlatformSelection.h"
#include "MacSystemAudio/SystemAudioDriver.h"
#include "PluginGlobals.h"
#include "QCP_API.h"
#include "zTraceManager.h"

MC::MacCaptureManager* g_pMacCaptureManager = nullptr;
MC::SystemAudioDevice* g_MacSystemAudioCapture = nullptr;

MC::MacCaptureManager& qcp::Manager() {
    if (!g_pMacCaptureManager) throw std::logic_error("the library is not initialised");
    return *g_pMacCaptureManager;
}

MC::SystemAudioDevice& qcp::SystemAudio() {
    if (!g_MacSystemAudioCapture) throw std::logic_error("the library is not initialised");
    return *g_MacSystemAudioCapture;
}

namespace {
constexpr const char* kModel = "MacCapture";
constexpr const char* kScreenDeviceNameKey = "obr_capture_name";
constexpr const char* kAudioDeviceNameKey = "obr_system_audio_name";
constexpr uint32_t kScreenCategory = 8;
constexpr uint32_t kAudioCategory = 2;

// Tears down in the order of the host interface; each step copes with what
// was never made, so a failed start unwinds through it too.
void TearDown() {
    delete g_pMacCaptureManager;
    g_pMacCaptureManager = nullptr;
    if (g_MacSystemAudioCapture) g_MacSystemAudioCapture->RegisterAudioDataCallback(nullptr, nullptr);
    delete g_MacSystemAudioCapture;
    g_MacSystemAudioCapture = nullptr;
    MC::SystemAudioDriver::Shutdown();
    MC::shutdownMacCaptureLogging();
    MC::MacCaptureWindowManager::shutdownMacCaptureWindowMgr();
    CSDK::uninitialize();
}

} // namespace

extern "C" {

int QCP_IntitializeLibrary(void) {
    return qcp::Guarded(__func__, 0, [] {
        if (g_pMacCaptureManager) return 1;
        std::string problem;
        if (!qcp::platform::SelectFromEnvironment(problem)) {
            zTraceManager::Default().TraceMessage(QCP_FOURCC('n', 'o', 't', 'e'), problem);
            MC::UserLog(-2, "Screen capture: " + problem);
            return 0;
        }
        qcp::platform::SelectAudioFromEnvironment();
        try {
            g_pMacCaptureManager = new MC::MacCaptureManager();
            g_MacSystemAudioCapture = new MC::SystemAudioDevice();
            MC::initializeMacCaptureLogging();
            MC::MacCaptureWindowManager::initializeMacCaptureWindowMgr();
            MC::SystemAudioDriver::Startup();
            if (!CSDK::isInitialized()) CSDK::initialize();
        } catch (...) {
            // Nothing half-built stays behind a failed start.
            TearDown();
            throw;
        }
        return 1;
    });
}

void QCP_UninitializeLibrary(void) {
    qcp::Guarded(__func__, [] { TearDown(); });
}

void QCP_GetModelInfo(const char*, char* buffer, uint32_t* length) {
    qcp::Guarded(__func__, [&] {
        // Unlike every other string function, the length is written on the fill too.
        if (length) *length = uint32_t(std::char_traits<char>::length(kModel));
        qcp::CopyOut(kModel, buffer, nullptr);
    });
}

int QCP_ConnectDevice(const char*) { return 1; }

void QCP_DisconnectDevice(const char*) {}

uint32_t QCP_GetDeviceState(const char*) { return QCP_DEVICE_STATE_READY; }

void QCP_RegisterDeviceStateChangedCallback(const char*, QCP_DeviceStateChangedCallback, void*) {}

void QCP_GetErrorMessage(const char*, char*, uint32_t*) {}

void QCP_RegisterLogCallback(const char*, QCP_LogCallback callback, void* context) {
    qcp::Guarded(__func__, [&] { MC::setLog(callback, context, MC::kLogBurstCeiling, MC::kLogBurstFloor); });
}

int32_t QCP_GetDeviceCount(void) { return 2; }

void QCP_GetDeviceId(int32_t index, char* buffer, uint32_t* length) {
    qcp::Guarded(__func__, [&] {
        if (index == 0) qcp::CopyOut(QCP_SCREEN_DEVICE_ID, buffer, length);
        if (index == 1) qcp::CopyOut(QCP_AUDIO_DEVICE_ID, buffer, length);
    });
}

uint32_t QCP_GetDeviceCategories(const char* deviceId) {
    return qcp::IsAudioDevice(deviceId) ? kAudioCategory : kScreenCategory;
}

void QCP_GetDeviceGroupDisplayNameForID(const char* deviceId, const char*, char* buffer, uint32_t* length) {
    qcp::Guarded(__func__, [&] {
        const char* name =
            CSDK::TranslateString(qcp::IsAudioDevice(deviceId) ? kAudioDeviceNameKey : kScreenDeviceNameKey);
        qcp::CopyOut(name ? name : "", buffer, length);
    });
}

uint32_t QCP_GetTimescaleTicksPerSec(void) { return 1000000; }

void QCP_RegisterLocalizeStringCallback(QCP_LocalizeStringCallback callback) {
    qcp::Guarded(__func__, [&] { CSDK::registerLocalizeStringCallback(callback); });
}

void QCP_RegisterPreferenceCallback(QCP_GetPreferenceCallback getCallback, QCP_SetPreferenceCallback setCallback,
                                    void* context) {
    qcp::Guarded(__func__, [&] { CSDK::registerPreferenceCallback(getCallback, setCallback, context); });
}

} // extern "C"

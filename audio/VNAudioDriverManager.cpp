#include "VNAudioDriverManager.h"

#include <CoreAudio/CoreAudio.h>
#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <filesystem>
#include <optional>

#include "CaptureDriver.h"
#include "CommonSDKVariables.h"
#include "Platform.h"
#include "vnAudioHelper.h"
#include "zMessages.h"
#include "zQueue.h"

namespace {

// Without force the user is asked at most once per process.
std::atomic<bool> sAlreadyPrompted{false};

// The installer's completion waits this long after the installer exits, so
// that the system has brought the new driver's devices up by then.
constexpr int64_t kCompletionDelayMicros = 500'000;

struct PackageMessages {
    const char* noBundle;
    const char* noResources;
    const char* noPath;
    const char* missing;
};

constexpr PackageMessages kInstallMessages{
    "Unable to install audio driver because the bundle could not be found.\n",
    "Unable to install audio driver because the resource folder path could not be found.\n",
    "Unable to install audio driver because the package path could not be found.\n",
    "Unable to install audio driver because the installer package is missing. Try reinstalling Pellory.\n",
};

constexpr PackageMessages kUninstallMessages{
    "Unable to uninstall audio driver because the bundle could not be found.\n",
    "Unable to uninstall audio driver because the resource folder path could not be found.\n",
    "Unable to uninstall audio driver because the package path could not be found.\n",
    "Unable to uninstall audio driver because the uninstaller package is missing. Try reinstalling Pellory.\n",
};

// The host's text for a prompt key; the key itself without a translator.
std::string Localized(const char* key) {
    const char* text = CSDK::TranslateString(key);
    return text ? text : key;
}

// The package's path in the plug-in's resource folder, or none with the
// failure user-logged. The platform stands for the plug-in's bundle.
std::optional<std::string> PackagePath(const char* package, const PackageMessages& messages) {
    qcp::platform::Platform* platform = qcp::platform::Current();
    if (!platform) {
        zUserLogError(messages.noBundle);
        return std::nullopt;
    }
    const std::string folder = platform->system().resourceFolder();
    if (folder.empty()) {
        zUserLogError(messages.noResources);
        return std::nullopt;
    }
    // A relative folder would name a place under whatever the host's working
    // directory happens to be: no path to the package can be formed from it.
    const std::filesystem::path path = std::filesystem::path(folder) / package;
    if (!path.is_absolute()) {
        zUserLogError(messages.noPath);
        return std::nullopt;
    }
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        zUserLogError(messages.missing);
        return std::nullopt;
    }
    return path.string();
}

// The driver's version string; none, traced, when it cannot be read.
std::optional<std::string> DriverVersion(AudioObjectID device) {
    const AudioObjectPropertyAddress address{kCaptureDriverPropertyVersion, kAudioObjectPropertyScopeGlobal,
                                             kAudioObjectPropertyElementMain};
    CFStringRef version = nullptr;
    UInt32 size = sizeof version;
    OSStatus status = AudioObjectGetPropertyData(device, &address, 0, nullptr, &size, &version);
    if (status == noErr && (!version || CFGetTypeID(version) != CFStringGetTypeID()))
        status = kAudioHardwareUnspecifiedError;
    std::optional<std::string> text;
    if (status == noErr) {
        if (const char* bytes = CFStringGetCStringPtr(version, kCFStringEncodingUTF8)) text = bytes;
    }
    if (version) CFRelease(version);
    if (!text)
        zTrace("System Audio Capture: Failed to get driver version. {}",
               vnAudioHelper_DescriptionForError(status ? status : kAudioHardwareUnspecifiedError));
    return text;
}

} // namespace

bool VNAudioDriverManager::isInstalled() {
    return vnAudioHelper_GetDeviceID(kCaptureDriverPlayedIntoUID) != kAudioObjectUnknown;
}

bool VNAudioDriverManager::needsUpdate() {
    const AudioObjectID device = vnAudioHelper_GetDeviceID(kCaptureDriverPlayedIntoUID);
    if (device == kAudioObjectUnknown) return true;
    const std::optional<std::string> version = DriverVersion(device);
    if (!version) return true;
    // Numerically, field by field, as the system orders version strings.
    CFStringRef installed = CFStringCreateWithCString(kCFAllocatorDefault, version->c_str(), kCFStringEncodingUTF8);
    CFStringRef expected = CFStringCreateWithCString(kCFAllocatorDefault, kExpectedVersion, kCFStringEncodingUTF8);
    const bool older = installed && expected &&
                       CFStringCompare(installed, expected, kCFCompareNumerically) == kCFCompareLessThan;
    if (installed) CFRelease(installed);
    if (expected) CFRelease(expected);
    return older;
}

void VNAudioDriverManager::checkAndPromptToInstall(Completion completion, bool forcePrompt) {
    const bool installed = isInstalled();
    if (installed && !needsUpdate()) return;
    // Claimed before the prompt shows, so that two callers at once still
    // ask only once.
    if (!forcePrompt && sAlreadyPrompted.exchange(true)) return;

    qcp::platform::Alert alert;
    if (installed) {
        alert.message = Localized("mac_audio_driver_update_required");
        alert.informativeText = Localized("mac_audio_driver_update_required_details");
        alert.buttons.push_back(Localized("mac_audio_driver_update_button_title"));
    } else {
        alert.message = Localized("mac_audio_driver_install_required");
        alert.informativeText = Localized("mac_audio_driver_install_required_details");
        alert.buttons.push_back(Localized("mac_audio_driver_install_button_title"));
    }
    alert.buttons.push_back(Localized("mac_audio_driver_cancel_button_title"));

    qcp::platform::Platform* platform = qcp::platform::Current();
    // Without a platform the alert cannot be shown: as if cancelled.
    const int chosen = platform ? platform->system().runModalAlert(alert) : -1;
    if (chosen == 0)
        installAudioDriver(std::move(completion));
    else if (completion)
        completion();
    sAlreadyPrompted = true;
}

bool VNAudioDriverManager::installAudioDriver(Completion completion) {
    const std::optional<std::string> path = PackagePath(kInstallPackage, kInstallMessages);
    if (!path) return false;
    runPkgAt(*path, std::move(completion));
    return true;
}

void VNAudioDriverManager::uninstallAudioDriver() {
    if (const std::optional<std::string> path = PackagePath(kUninstallPackage, kUninstallMessages))
        runPkgAt(*path, nullptr);
}

void VNAudioDriverManager::runPkgAt(const std::string& path, Completion completion) {
    qcp::platform::Platform* platform = qcp::platform::Current();
    if (!platform) return;
    platform->system().runInstallerPackage(path, [completion = std::move(completion)](int) {
        if (completion) zQueue::Main().After(kCompletionDelayMicros, completion);
    });
}

#include "PlatformSelection.h"

#include <cstdlib>
#include <string_view>

#include "Platform.h"
#include "SimPlatform.h"
#if QCP_HAVE_LINUX_PLATFORM
#include "X11Factory.h"
#endif
#if QCP_HAVE_MAC_PLATFORM
#include "MacFactory.h"
#endif
#if QCP_HAVE_COREAUDIO_STANDIN
#include "AudioDeviceLayer.h"
#include "SimAudioSystem.h"
#endif
#if QCP_HAVE_PULSE
#include "PulseAudioSystem.h"
#endif

namespace qcp::platform {
namespace {
// The sound server's client library is not built for ThreadSanitizer: its
// locks are invisible to it, so every callback would look like a race. A
// build under it leaves the sound system not running.
#if defined(__SANITIZE_THREAD__)
constexpr bool kSoundServerUsable = false;
#elif defined(__has_feature)
constexpr bool kSoundServerUsable = !__has_feature(thread_sanitizer);
#else
constexpr bool kSoundServerUsable = true;
#endif
} // namespace

bool SelectFromEnvironment(std::string& error) {
    if (Current()) return true;
    const char* requested = std::getenv("QCP_PLATFORM");
    const std::string_view name = requested ? requested : "";
    if (name == "sim") {
        Install(sim::MakeDefaultPlatform());
        return true;
    }
#if QCP_HAVE_MAC_PLATFORM
    if (name.empty() || name == "mac") {
        Install(mac::MakePlatform());
        return true;
    }
#endif
    if (name.empty() || name == "linux") {
#if QCP_HAVE_LINUX_PLATFORM
        Install(x11::MakePlatform());
        return true;
#else
        error = "the linux platform is not built (QCP_PLATFORM=sim selects the simulated desktop)";
        return false;
#endif
    }
#if QCP_HAVE_MAC_PLATFORM
    error = "QCP_PLATFORM=" + std::string(name) + " is unknown (known: mac, sim)";
#else
    error = "QCP_PLATFORM=" + std::string(name) + " is unknown (known: linux, sim)";
#endif
    return false;
}

void SelectAudioFromEnvironment() {
#if QCP_HAVE_COREAUDIO_STANDIN
    if (coreaudio::Current()) return;
    const char* requested = std::getenv("QCP_PLATFORM");
    const std::string_view name = requested ? requested : "";
    if (name == "sim") {
        coreaudio::Install(coreaudio::sim::CreateDefaultSimAudioSystem());
        return;
    }
#if QCP_HAVE_PULSE
    if (kSoundServerUsable && (name.empty() || name == "linux"))
        coreaudio::Install(std::make_unique<coreaudio::pulse::PulseAudioSystem>());
#endif
#endif
}

} // namespace qcp::platform

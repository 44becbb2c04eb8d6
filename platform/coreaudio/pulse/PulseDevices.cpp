#include "PulseDevices.h"

#include <algorithm>
#include <cmath>

#include "CaptureDriver.h"

namespace qcp::coreaudio::pulse {
namespace {

AudioObjectPropertyAddress Global(AudioObjectPropertySelector selector) {
    return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}

Change SystemChange(AudioObjectPropertySelector selector) { return {kAudioObjectSystemObject, Global(selector)}; }

// A device period as short as a hardware device's, or the server's own when
// it is shorter: null sinks configure seconds, and the capture chain hands
// on at most one packet per period of what it records.
UInt32 FramesOf(const PulseDeviceInfo& info) {
    if (info.latencyMicros == 0 || info.rate <= 0) return PulseDevices::kDefaultBufferFrameSize;
    const auto frames = static_cast<UInt32>(std::lround(double(info.latencyMicros) * info.rate / 1e6));
    return std::clamp(frames, PulseDevices::kMinBufferFrameSize, PulseDevices::kDefaultBufferFrameSize);
}

} // namespace

PulseDevice* PulseDevices::Find(AudioObjectID id) {
    auto found = std::find_if(fDevices.begin(), fDevices.end(), [id](const auto& device) { return device.id == id; });
    return found == fDevices.end() ? nullptr : &*found;
}

const PulseDevice* PulseDevices::Find(AudioObjectID id) const { return const_cast<PulseDevices*>(this)->Find(id); }

const PulseDevice* PulseDevices::FindName(const std::string& name) const {
    auto found = std::find_if(fDevices.begin(), fDevices.end(),
                              [&name](const auto& device) { return device.info.name == name; });
    return found == fDevices.end() ? nullptr : &*found;
}

const PulseDevice* PulseDevices::FindStream(AudioObjectID id) const {
    auto found =
        std::find_if(fDevices.begin(), fDevices.end(), [id](const auto& device) { return device.stream == id; });
    return found == fDevices.end() ? nullptr : &*found;
}

AudioObjectID PulseDevices::Default(AudioObjectPropertySelector selector) const {
    return selector == kAudioHardwarePropertyDefaultInputDevice ? fDefaultInput : fDefaultOutput;
}

bool PulseDevices::CanBeDefault(const PulseDevice& device, AudioObjectPropertySelector selector) {
    return device.canBeDefault && device.info.input == (selector == kAudioHardwarePropertyDefaultInputDevice);
}

void PulseDevices::Update(const PulseDeviceInfo& info, Changes& changes) {
    if (fGone.count({info.input, info.index})) return;
    auto known = std::find_if(fDevices.begin(), fDevices.end(), [&info](const auto& device) {
        return device.info.input == info.input &&
               (device.missing ? device.info.name == info.name : device.info.index == info.index);
    });
    if (known != fDevices.end()) known->missing = false;
    if (known == fDevices.end()) {
        PulseDevice device;
        device.id = fNextID++;
        device.stream = fNextID++;
        device.info = info;
        device.bufferFrameSize = FramesOf(info);
        // The driver's devices start hidden and unable to be defaults, as
        // the driver starts them; the server has no such flags.
        device.captureDriver = info.name == kCaptureDriverPlayedIntoUID || info.name == kCaptureDriverRecordedFromUID;
        device.visible = device.canBeDefault = !device.captureDriver;
        fDevices.push_back(std::move(device));
        if (fDevices.back().visible) changes.push_back(SystemChange(kAudioHardwarePropertyDevices));
        ResolveDefaults(changes);
        return;
    }
    PulseDevice& device = *known;
    const AudioObjectPropertyScope scope = info.input ? kAudioObjectPropertyScopeInput : kAudioObjectPropertyScopeOutput;
    const auto changed = [&](AudioObjectPropertySelector selector, AudioObjectPropertyScope where) {
        changes.push_back({device.id, {selector, where, kAudioObjectPropertyElementMain}});
    };
    if (device.info.description != info.description) changed(kAudioObjectPropertyName, kAudioObjectPropertyScopeGlobal);
    if (device.info.rate != info.rate) {
        changed(kAudioDevicePropertyNominalSampleRate, kAudioObjectPropertyScopeGlobal);
        for (const auto selector : {kAudioStreamPropertyPhysicalFormat, kAudioStreamPropertyVirtualFormat})
            changes.push_back({device.stream, Global(selector)});
    }
    if (device.info.volume != info.volume) changed(kAudioDevicePropertyVolumeScalar, scope);
    if (device.info.mute != info.mute) changed(kAudioDevicePropertyMute, scope);
    if (device.captureDriver && device.info.driverVersion != info.driverVersion)
        changed(kCaptureDriverPropertyVersion, kAudioObjectPropertyScopeGlobal);
    device.info = info;
}

void PulseDevices::Remove(bool input, uint32_t index, Changes& changes) {
    fGone.insert({input, index});
    auto found = std::find_if(fDevices.begin(), fDevices.end(), [&](const auto& device) {
        return !device.missing && device.info.input == input && device.info.index == index;
    });
    if (found != fDevices.end()) Erase(found, changes);
}

void PulseDevices::Erase(std::vector<PulseDevice>::iterator device, Changes& changes) {
    if (!device->missing) fGone.insert({device->info.input, device->info.index});
    const AudioObjectID id = device->id;
    const bool wasVisible = device->visible;
    fDevices.erase(device);
    changes.push_back({id, Global(kAudioDevicePropertyDeviceIsAlive)});
    if (wasVisible) changes.push_back(SystemChange(kAudioHardwarePropertyDevices));
    ResolveDefaults(changes);
}

void PulseDevices::SetDefaults(std::string sink, std::string source, Changes& changes) {
    fDefaultSink = std::move(sink);
    fDefaultSource = std::move(source);
    ResolveDefaults(changes);
}

void PulseDevices::Suspend() {
    for (PulseDevice& device : fDevices) device.missing = true;
    // A new server numbers its objects afresh.
    fGone.clear();
}

void PulseDevices::Remake(AudioObjectID id) {
    if (PulseDevice* device = Find(id)) {
        device->missing = true;
        fGone.insert({device->info.input, device->info.index});
    }
}

void PulseDevices::Forget(AudioObjectID id, Changes& changes) {
    auto found = std::find_if(fDevices.begin(), fDevices.end(), [id](const auto& device) { return device.id == id; });
    if (found != fDevices.end()) Erase(found, changes);
}

void PulseDevices::DropMissing(Changes& changes) {
    const auto missing = [](const PulseDevice& device) { return device.missing; };
    for (auto device = std::find_if(fDevices.begin(), fDevices.end(), missing); device != fDevices.end();
         device = std::find_if(fDevices.begin(), fDevices.end(), missing))
        Erase(device, changes);
}

void PulseDevices::ResolveDefaults(Changes& changes) {
    const auto resolve = [this](const std::string& name, bool input) {
        const PulseDevice* device = FindName(name);
        return device && device->info.input == input ? device->id : AudioObjectID{kAudioObjectUnknown};
    };
    const AudioObjectID output = resolve(fDefaultSink, false);
    if (output != fDefaultOutput) {
        fDefaultOutput = output;
        changes.push_back(SystemChange(kAudioHardwarePropertyDefaultOutputDevice));
        changes.push_back(SystemChange(kAudioHardwarePropertyDefaultSystemOutputDevice));
    }
    const AudioObjectID input = resolve(fDefaultSource, true);
    if (input != fDefaultInput) {
        fDefaultInput = input;
        changes.push_back(SystemChange(kAudioHardwarePropertyDefaultInputDevice));
    }
}

void PulseDevices::SetBufferFrameSize(PulseDevice& device, UInt32 frames, const AudioObjectPropertyAddress& address,
                                      Changes& changes) {
    frames = std::clamp(frames, kMinBufferFrameSize, kMaxBufferFrameSize);
    if (device.bufferFrameSize == frames) return;
    device.bufferFrameSize = frames;
    changes.push_back({device.id, address});
}

void PulseDevices::SetDriverFlag(PulseDevice& device, AudioObjectPropertySelector selector, bool value,
                                 Changes& changes) {
    bool& flag = selector == kCaptureDriverPropertyVisible ? device.visible : device.canBeDefault;
    if (flag == value) return;
    flag = value;
    changes.push_back({device.id, Global(selector)});
    if (selector == kCaptureDriverPropertyVisible) changes.push_back(SystemChange(kAudioHardwarePropertyDevices));
}

} // namespace qcp::coreaudio::pulse

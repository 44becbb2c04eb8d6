#include "DeviceIOProcs.h"

#include <algorithm>

namespace qcp::coreaudio {

void DeviceIOProcs::Start(AudioDeviceIOProc proc, void* clientData) {
    auto found = std::find_if(fProcs.begin(), fProcs.end(),
                              [&](const Proc& p) { return p.proc == proc && p.clientData == clientData; });
    if (found != fProcs.end())
        found->stopped = false;
    else
        fProcs.push_back({proc, clientData, false});
}

void DeviceIOProcs::Stop(AudioDeviceIOProc proc, void* clientData) {
    for (Proc& p : fProcs) {
        if (p.proc == proc && p.clientData == clientData) p.stopped = true;
    }
}

bool DeviceIOProcs::Live() const {
    return std::any_of(fProcs.begin(), fProcs.end(), [](const Proc& p) { return !p.stopped; });
}

void DeviceIOProcs::Call(AudioObjectID device, const Times& times, const AudioBufferList& input,
                         OwnedBufferList& scratch, AudioBufferList& mix, UInt32 frames) {
    Silence(mix, frames);
    // By index and by copy: a proc may start another, growing the list.
    for (size_t i = 0; i < fProcs.size(); ++i) {
        const Proc proc = fProcs[i];
        if (proc.stopped) continue;
        AudioBufferList& output = scratch.Prepare(frames);
        Silence(output, frames);
        proc.proc(device, &times.now, &input, &times.input, &output, &times.output, proc.clientData);
        Mix(output, mix, frames);
    }
    std::erase_if(fProcs, [](const Proc& p) { return p.stopped; });
}

} // namespace qcp::coreaudio

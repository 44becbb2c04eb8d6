#include "CAPlayThroughHost.h"

#include <Block.h>

#include <cstdio>
#include <vector>

#include "CAPlayThrough.h"

namespace {

// A stream's direction (non-zero: input) and its physical format; spelled
// out, as not every CoreAudio interface names them.
constexpr AudioObjectPropertySelector kStreamDirection = 0x73646972;      // 'sdir'
constexpr AudioObjectPropertySelector kStreamPhysicalFormat = 0x70667420; // 'pft '

void PrintError(const char* call, OSStatus status) {
    std::fprintf(stderr, "Error %ld returned from %s\n", static_cast<long>(status), call);
}

// The input device's input streams; empty (printed) when they cannot be read.
std::vector<AudioStreamID> InputStreams(AudioDeviceID input) {
    const AudioObjectPropertyAddress address{kAudioDevicePropertyStreams, kAudioObjectPropertyScopeInput, 0};
    UInt32 size = 0;
    if (const OSStatus status = AudioObjectGetPropertyDataSize(input, &address, 0, nullptr, &size)) {
        PrintError("AudioObjectGetPropertyDataSize", status);
        return {};
    }
    std::vector<AudioStreamID> streams(size / sizeof(AudioStreamID));
    if (const OSStatus status = AudioObjectGetPropertyData(input, &address, 0, nullptr, &size, streams.data())) {
        PrintError("AudioObjectGetPropertyData", status);
        return {};
    }
    streams.resize(size / sizeof(AudioStreamID));
    std::vector<AudioStreamID> inputs;
    for (const AudioStreamID stream : streams) {
        const AudioObjectPropertyAddress direction{kStreamDirection, kAudioObjectPropertyScopeGlobal, 0};
        UInt32 isInput = 0;
        size = sizeof isInput;
        if (const OSStatus status = AudioObjectGetPropertyData(stream, &direction, 0, nullptr, &size, &isInput)) {
            PrintError("AudioObjectGetPropertyData", status);
            continue;
        }
        if (isInput) inputs.push_back(stream);
    }
    return inputs;
}

constexpr AudioObjectPropertyAddress kPhysicalFormat{kStreamPhysicalFormat,
                                                     kAudioObjectPropertyScopeGlobal, 0};

} // namespace

CAPlayThroughHost::CAPlayThroughHost(AudioDeviceID input, AudioDeviceID output) {
    std::lock_guard lock(fGate->mutex);
    fGate->host = this;
    CreatePlayThrough(input, output);
}

CAPlayThroughHost::~CAPlayThroughHost() {
    std::lock_guard lock(fGate->mutex);
    // A rebuild already running has finished; none starts from now on.
    fGate->host = nullptr;
    DeletePlayThrough();
}

void CAPlayThroughHost::CreatePlayThrough(AudioDeviceID input, AudioDeviceID output) {
    fPlayThrough = std::make_unique<CAPlayThrough>(input, output);
    fListenerQueue = dispatch_queue_create("com.CAPlayThough.StreamListenerQueue", DISPATCH_QUEUE_SERIAL);
    AddDeviceListeners(input);
}

void CAPlayThroughHost::DeletePlayThrough() {
    std::lock_guard lock(fMutex);
    if (!fPlayThrough) return;
    fPlayThrough->Stop();
    RemoveDeviceListeners(fPlayThrough->GetInputDeviceID());
    dispatch_release(fListenerQueue);
    fListenerQueue = nullptr;
    fPlayThrough->Cleanup();
    fPlayThrough.reset();
}

void CAPlayThroughHost::ResetPlayThrough() {
    if (!fPlayThrough) return;
    const AudioDeviceID input = fPlayThrough->GetInputDeviceID();
    const AudioDeviceID output = fPlayThrough->GetOutputDeviceID();
    DeletePlayThrough();
    CreatePlayThrough(input, output);
    fPlayThrough->Start();
    ++fResets;
}

void CAPlayThroughHost::AddDeviceListeners(AudioDeviceID input) {
    const std::shared_ptr<Gate> gate = fGate;
    // The block holds the gate, not the host: a call already under way when
    // the host goes finds no host and does nothing.
#if defined(__BLOCKS__)
    fListenerBlock = Block_copy(^(UInt32, const AudioObjectPropertyAddress*) {
      std::lock_guard lock(gate->mutex);
      if (gate->host) gate->host->ResetPlayThrough();
    });
#else
    fListenerBlock = Block_copy(AudioObjectPropertyListenerBlock([gate](UInt32, const AudioObjectPropertyAddress*) {
        std::lock_guard lock(gate->mutex);
        if (gate->host) gate->host->ResetPlayThrough();
    }));
#endif
    for (const AudioStreamID stream : InputStreams(input)) {
        if (const OSStatus status =
                AudioObjectAddPropertyListenerBlock(stream, &kPhysicalFormat, fListenerQueue, fListenerBlock))
            PrintError("AudioObjectAddPropertyListenerBlock", status);
    }
}

void CAPlayThroughHost::RemoveDeviceListeners(AudioDeviceID input) {
    for (const AudioStreamID stream : InputStreams(input)) {
        if (const OSStatus status =
                AudioObjectRemovePropertyListenerBlock(stream, &kPhysicalFormat, fListenerQueue, fListenerBlock))
            PrintError("AudioObjectRemovePropertyListenerBlock", status);
    }
    // Released once for the one copy made, not once a stream: a second
    // release would free a block still registered elsewhere.
    if (fListenerBlock) Block_release(fListenerBlock);
    fListenerBlock = nullptr;
}

OSStatus CAPlayThroughHost::Start() {
    std::lock_guard lock(fGate->mutex);
    return fPlayThrough ? fPlayThrough->Start() : noErr;
}

OSStatus CAPlayThroughHost::Stop() {
    std::lock_guard lock(fGate->mutex);
    return fPlayThrough ? fPlayThrough->Stop() : noErr;
}

bool CAPlayThroughHost::IsRunning() {
    std::lock_guard lock(fGate->mutex);
    return fPlayThrough && fPlayThrough->IsRunning();
}

bool CAPlayThroughHost::PlayThroughExists() {
    std::lock_guard lock(fGate->mutex);
    return fPlayThrough != nullptr;
}

AudioDeviceID CAPlayThroughHost::InputDeviceID() {
    std::lock_guard lock(fGate->mutex);
    return fPlayThrough ? fPlayThrough->GetInputDeviceID() : 0;
}

unsigned CAPlayThroughHost::Resets() {
    std::lock_guard lock(fGate->mutex);
    return fResets;
}

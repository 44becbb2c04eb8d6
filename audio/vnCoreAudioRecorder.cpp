#include "vnCoreAudioRecorder.h"

#include <CoreFoundation/CoreFoundation.h>
#include <sys/types.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>

#include "vnAudioHelper.h"
#include "zBuffer.h"
#include "zMessages.h"

namespace {

constexpr int kFailed = -1;
constexpr size_t kConverterOutputBytes = 768'000;
// The unit's elements: 0 plays to the device, 1 records from it.
constexpr AudioUnitElement kOutputBus = 0;
constexpr AudioUnitElement kInputBus = 1;

constexpr AudioObjectPropertyAddress kNominalRateAddress{
    kAudioDevicePropertyNominalSampleRate, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};

// A user-log line for a failed call: `message` ends in ". ", the status's
// description follows.
void LogStatus(int level, const std::string& message, OSStatus status) {
    zMessages::UserLogAt(level, message + "{}", vnAudioHelper_DescriptionForError(status));
}
void LogError(const std::string& message, OSStatus status) { LogStatus(1, message, status); }
void LogWarning(const std::string& message, OSStatus status) { LogStatus(0, message, status); }

template <class T>
OSStatus GetDeviceProperty(AudioObjectID device, AudioObjectPropertySelector selector,
                           AudioObjectPropertyScope scope, T& value) {
    const AudioObjectPropertyAddress address{selector, scope, kAudioObjectPropertyElementMain};
    UInt32 size = sizeof value;
    return AudioObjectGetPropertyData(device, &address, 0, nullptr, &size, &value);
}

template <class T>
OSStatus SetUnitProperty(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                         const T& value) {
    return AudioUnitSetProperty(unit, id, scope, element, &value, sizeof value);
}

template <class T>
OSStatus GetUnitProperty(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                         T& value) {
    UInt32 size = sizeof value;
    return AudioUnitGetProperty(unit, id, scope, element, &value, &size);
}

// The device's input channels over all its streams; 0 when they cannot be
// read.
UInt32 CountInputChannels(AudioDeviceID device) {
    const AudioObjectPropertyAddress address{kAudioDevicePropertyStreamConfiguration, kAudioObjectPropertyScopeInput,
                                             kAudioObjectPropertyElementMain};
    UInt32 size = 0;
    OSStatus status = AudioObjectGetPropertyDataSize(device, &address, 0, nullptr, &size);
    if (status != noErr) {
        zTrace("System Audio Capture: Failed to count channels for device (id: {}) due to an inablity to get "
               "property size. {}",
               device, vnAudioHelper_DescriptionForError(status));
        return 0;
    }
    const std::unique_ptr<void, decltype(&std::free)> block(std::malloc(std::max<size_t>(size, 1)), &std::free);
    if (!block) return 0;
    status = AudioObjectGetPropertyData(device, &address, 0, nullptr, &size, block.get());
    if (status != noErr) {
        zTrace("System Audio Capture: Failed to count channels for device (id: {}) due to an inablity to get "
               "property data. {}",
               device, vnAudioHelper_DescriptionForError(status));
        return 0;
    }
    if (size < offsetof(AudioBufferList, mBuffers)) return 0;
    const auto* list = static_cast<const AudioBufferList*>(block.get());
    // Only the buffers the layer actually wrote count.
    const size_t written = (size - offsetof(AudioBufferList, mBuffers)) / sizeof(AudioBuffer);
    const size_t buffers = std::min<size_t>(list->mNumberBuffers, written);
    UInt32 channels = 0;
    for (size_t i = 0; i < buffers; ++i) channels += list->mBuffers[i].mNumberChannels;
    return channels;
}

} // namespace

vnCoreAudioRecorder::vnCoreAudioRecorder(unsigned int deviceID) : fDeviceID(deviceID) {}

vnCoreAudioRecorder::~vnCoreAudioRecorder() {
    // First, so that no rebuild starts on a half-destroyed recorder; a
    // listener in progress is waited for.
    for (AudioDeviceID device : fListenedDevices)
        AudioObjectRemovePropertyListener(device, &kNominalRateAddress, static_RateListener, this);
    std::lock_guard delivery(fDeliveryMutex);
    // A unit left running would call into freed memory.
    DisposeUnit();
    FreeRenderBuffer();
    DisposeConverter();
}

int vnCoreAudioRecorder::BeginCapture(double* sampleRate, unsigned int* channels) {
    std::lock_guard control(fControlMutex);
    if (const int result = InitializeCapture(sampleRate, channels)) return result;
    return StartInitializedAudioUnit();
}

void vnCoreAudioRecorder::StopCapture() {
    std::lock_guard control(fControlMutex);
    {
        std::lock_guard delivery(fDeliveryMutex);
        DisposeUnit();
    }
    fDeviceID = 0;
}

void vnCoreAudioRecorder::SampleRateChangedTo(double) {
    std::lock_guard control(fControlMutex);
    StopCapture();
    double sampleRate = 0;
    unsigned int channels = 0;
    BeginCapture(&sampleRate, &channels);
}

OSStatus vnCoreAudioRecorder::StartInitializedAudioUnit() {
    std::lock_guard control(fControlMutex);
    AudioUnit unit = nullptr;
    {
        std::lock_guard delivery(fDeliveryMutex);
        fSampleTime = 0;
        unit = fAudioUnit;
    }
    const OSStatus status = AudioOutputUnitStart(unit);
    if (status != noErr)
        LogError("System Audio Capture: Unable to capture because the audio unit failed to start. ", status);
    return status;
}

int vnCoreAudioRecorder::InitializeCapture(double* sampleRate, unsigned int* channels) {
    std::lock_guard control(fControlMutex);
    if (!sampleRate || !channels) return kFailed;
    const AudioDeviceID device = fDeviceID;
    if (device == 0) {
        zUserLogError("System Audio Capture: Unable to start because no device identifier was provided.");
        return kFailed;
    }
    // Held throughout: the real-time thread skips blocks while the unit and
    // its buffers are being replaced.
    std::lock_guard delivery(fDeliveryMutex);

    const AudioComponentDescription description{kAudioUnitType_Output, kAudioUnitSubType_HALOutput,
                                                kAudioUnitManufacturer_Apple, 0, 0};
    AudioComponent component = AudioComponentFindNext(nullptr, &description);
    // A unit from an earlier initialisation would otherwise go on calling
    // back into this recorder, unowned.
    DisposeUnit();
    if (!component) {
        zUserLogError("System Audio Capture: Unable to start because the AUHAL output component could not be found.");
        return kFailed;
    }
    OSStatus status = AudioComponentInstanceNew(component, &fAudioUnit);
    if (status != noErr) {
        fAudioUnit = nullptr;
        LogError("System Audio Capture: Unable to start because the AUHAL output component could not be created. ",
                 status);
        return kFailed;
    }

    ListenToRate(device);

    status = SetUnitProperty(fAudioUnit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Input, kInputBus,
                             UInt32{1});
    if (status != noErr) {
        // The output side is then left as the unit has it.
        LogWarning("System Audio Capture: The input to the AUHAL output component could not be enabled. ", status);
    } else {
        status = SetUnitProperty(fAudioUnit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Output, kOutputBus,
                                 UInt32{0});
        if (status != noErr)
            LogWarning("System Audio Capture: The output of the AUHAL output component could not be disabled. ",
                       status);
    }

    status = SetUnitProperty(fAudioUnit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0, device);
    if (status != noErr) {
        LogError("System Audio Capture: Unable to start because the current device could not be changed. ", status);
        return kFailed;
    }

    const AURenderCallbackStruct callback{static_AudioInputProc, this};
    status = SetUnitProperty(fAudioUnit, kAudioOutputUnitProperty_SetInputCallback, kAudioUnitScope_Global, 0,
                             callback);
    if (status != noErr) {
        LogError("System Audio Capture: Unable to start because the input callback could not be set. ", status);
        return kFailed;
    }

    pid_t hogger = -1;
    if (GetDeviceProperty(device, kAudioDevicePropertyHogMode, kAudioObjectPropertyScopeInput, hogger) == noErr &&
        hogger != -1)
        zUserLog("System Audio Capture: The audio device is already in use by a process with id {}", hogger);

    Float64 hardwareRate = 0;
    status = GetDeviceProperty(device, kAudioDevicePropertyNominalSampleRate, kAudioObjectPropertyScopeInput,
                               hardwareRate);
    if (status != noErr) {
        LogWarning("System Audio Capture: Failed to get the audio hardware sample rate. ", status);
        hardwareRate = 0;
    }

    status = GetUnitProperty(fAudioUnit, kAudioUnitProperty_SampleRate, kAudioUnitScope_Input, kOutputBus,
                             *sampleRate);
    if (status != noErr) {
        LogError("System Audio Capture: Failed to get the audio sample size. ", status);
        return kFailed;
    }

    *channels = CountInputChannels(device);

    if (hardwareRate != 0 && hardwareRate != *sampleRate) {
        *sampleRate = hardwareRate;
        status = SetUnitProperty(fAudioUnit, kAudioUnitProperty_SampleRate, kAudioUnitScope_Input, kOutputBus,
                                 *sampleRate);
        if (status != noErr) {
            LogError("System Audio Capture: Unable to start because the sample rate could not be set. ", status);
            return kFailed;
        }
        *sampleRate = 0;
        status = GetUnitProperty(fAudioUnit, kAudioUnitProperty_SampleRate, kAudioUnitScope_Input, kOutputBus,
                                 *sampleRate);
        if (status != noErr) {
            LogError("System Audio Capture: Unable to start because the sample rate could not be obtained. ",
                     status);
            return kFailed;
        }
        if (*sampleRate != hardwareRate)
            zUserLog("System Audio Capture: Attempt to set component's sample rate failed. The hardware sample rate "
                     "is {} but the component's sample rate is still {}.",
                     hardwareRate, *sampleRate);
    }

    fClientFormat = AudioStreamBasicDescription{};
    fClientFormat.mSampleRate = *sampleRate;
    fClientFormat.mFormatID = kAudioFormatLinearPCM;
    fClientFormat.mFormatFlags = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
    fClientFormat.mBitsPerChannel = 16;
    fClientFormat.mChannelsPerFrame = *channels;
    fClientFormat.mFramesPerPacket = 1;
    fClientFormat.mBytesPerFrame = 2 * *channels;
    fClientFormat.mBytesPerPacket = fClientFormat.mBytesPerFrame;
    status = SetUnitProperty(fAudioUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, kInputBus,
                             fClientFormat);
    if (status != noErr) {
        LogError("System Audio Capture: Unable to start because the output format could not be set on the AUHAL "
                 "component. ",
                 status);
        return kFailed;
    }

    status = GetUnitProperty(fAudioUnit, kAudioDevicePropertyBufferFrameSize, kAudioUnitScope_Global, 0,
                             fBufferFrameSize);
    if (status != noErr) {
        LogError("System Audio Capture: Unable to start because the buffer frame size could not be obtained. ",
                 status);
        return kFailed;
    }

    if (fTargetSampleRate == 0) fTargetSampleRate = hardwareRate;
    DisposeConverter();

    if (*sampleRate != fTargetSampleRate) {
        AudioStreamBasicDescription format{};
        status = GetUnitProperty(fAudioUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, kInputBus,
                                 format);
        if (status != noErr) {
            LogError("System Audio Capture: Unable to start because the component's output format could not be "
                     "obtained. ",
                     status);
            return status;
        }
        createSampleRateConverter(format, *sampleRate, fTargetSampleRate);
    }

    status = AudioUnitInitialize(fAudioUnit);
    if (status != noErr) {
        LogError("System Audio Capture: Unable to start because the audio unit failed to initialize. ", status);
        return kFailed;
    }

    FreeRenderBuffer();
    const size_t bytes = size_t{fBufferFrameSize} * fClientFormat.mBytesPerFrame;
    fRenderBuffer = static_cast<AudioBufferList*>(std::calloc(1, sizeof(AudioBufferList) + bytes));
    if (!fRenderBuffer) {
        zTrace("System Audio Capture: Unable to start because the render buffer ({} bytes) could not be allocated.",
               bytes);
        return kFailed;
    }
    fRenderBuffer->mNumberBuffers = 1;
    fRenderBuffer->mBuffers[0].mNumberChannels = *channels;
    fRenderBuffer->mBuffers[0].mDataByteSize = static_cast<UInt32>(bytes);
    fRenderBuffer->mBuffers[0].mData = fRenderBuffer + 1;
    return 0;
}

void vnCoreAudioRecorder::createSampleRateConverter(const AudioStreamBasicDescription& format, double inputRate,
                                                    double outputRate) {
    AudioStreamBasicDescription source = format;
    source.mSampleRate = inputRate;
    AudioStreamBasicDescription destination = format;
    destination.mSampleRate = outputRate;
    DisposeConverter();
    AudioConverterRef converter = nullptr;
    if (AudioConverterNew(&source, &destination, &converter) != noErr) {
        if (converter) AudioConverterDispose(converter);
        return;
    }
    fConverter = converter;
    // Sized once here, so that the real-time thread only writes into it.
    fConverterOutput = new zBuffer(kConverterOutputBytes);
}

OSStatus vnCoreAudioRecorder::AudioInputProc(unsigned int* ioActionFlags, const AudioTimeStamp* timeStamp,
                                             unsigned int busNumber, unsigned int numberFrames, AudioBufferList*) {
    std::unique_lock delivery(fDeliveryMutex, std::try_to_lock);
    if (!delivery.owns_lock() || !fAudioUnit || !fRenderBuffer || !timeStamp) return noErr;

    AudioBuffer& rendered = fRenderBuffer->mBuffers[0];
    // The unit shrinks the size to what it wrote; each block may use it all.
    rendered.mDataByteSize = fBufferFrameSize * fClientFormat.mBytesPerFrame;
    // Whatever the render gives, the buffer is delivered as it stands.
    AudioUnitRender(fAudioUnit, ioActionFlags, timeStamp, busNumber, numberFrames, fRenderBuffer);

    void* data = rendered.mData;
    int size = static_cast<int>(rendered.mDataByteSize);
    UInt32 frames = numberFrames;
    const unsigned long long hostTimeMicros = AudioConvertHostTimeToNanos(timeStamp->mHostTime) / 1000;
    if (fConverter && fConverterOutput && fClientFormat.mBytesPerFrame) {
        void* converted = fConverterOutput->Data();
        size = convertBuffer(converted, static_cast<int>(fConverterOutput->Size()), data, size);
        data = converted;
        frames = static_cast<UInt32>(size) / fClientFormat.mBytesPerFrame;
    }
    Send(fSampleTime, hostTimeMicros, data, size);
    fSampleTime += frames;
    return noErr;
}

int vnCoreAudioRecorder::convertBuffer(void* out, int outBytes, void* in, int inBytes) {
    const UInt32 bytesPerFrame = fClientFormat.mBytesPerFrame;
    if (!fConverter || bytesPerFrame == 0 || !out || outBytes <= 0 || !in || inBytes < 0) return 0;
    UInt32 packets = static_cast<UInt32>(outBytes) / bytesPerFrame;
    vnConverterInput input{in, static_cast<UInt32>(inBytes), static_cast<UInt32>(inBytes) / bytesPerFrame,
                           fClientFormat.mChannelsPerFrame};
    AudioBufferList output{};
    output.mNumberBuffers = 1;
    output.mBuffers[0] = AudioBuffer{fClientFormat.mChannelsPerFrame, static_cast<UInt32>(outBytes), out};
    // It ends with the input proc's "no more" status once the block is used.
    AudioConverterFillComplexBuffer(fConverter, fill_complex_input_proc, &input, &packets, &output, nullptr);
    return static_cast<int>(packets * bytesPerFrame);
}

void vnCoreAudioRecorder::Send(double, unsigned long long, void*, int) {}

AudioDeviceID vnCoreAudioRecorder::get_id_from_uid(const char* uid) {
    if (!uid) return 0;
    CFStringRef string = CFStringCreateWithCStringNoCopy(nullptr, uid, kCFStringEncodingUTF8, kCFAllocatorNull);
    if (!string) return 0;
    AudioDeviceID device = 0;
    AudioValueTranslation translation{&string, sizeof string, &device, sizeof device};
    const AudioObjectPropertyAddress address{kAudioHardwarePropertyDeviceForUID, kAudioObjectPropertyScopeGlobal,
                                             kAudioObjectPropertyElementMain};
    UInt32 size = sizeof translation;
    const OSStatus status =
        AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &translation);
    CFRelease(string);
    return status == noErr ? device : 0;
}

void vnCoreAudioRecorder::DisposeUnit() {
    if (!fAudioUnit) return;
    // Disposal stops the unit, waiting for a block in progress.
    AudioComponentInstanceDispose(fAudioUnit);
    fAudioUnit = nullptr;
}

void vnCoreAudioRecorder::DisposeConverter() {
    if (fConverter) AudioConverterDispose(fConverter);
    fConverter = nullptr;
    delete fConverterOutput;
    fConverterOutput = nullptr;
}

void vnCoreAudioRecorder::FreeRenderBuffer() {
    std::free(fRenderBuffer);
    fRenderBuffer = nullptr;
}

void vnCoreAudioRecorder::ListenToRate(AudioDeviceID device) {
    // Not checked: capture works without it, only a rate change goes unseen.
    AudioObjectAddPropertyListener(device, &kNominalRateAddress, static_RateListener, this);
    if (std::find(fListenedDevices.begin(), fListenedDevices.end(), device) == fListenedDevices.end())
        fListenedDevices.push_back(device);
}

OSStatus static_AudioInputProc(void* refCon, AudioUnitRenderActionFlags* ioActionFlags,
                               const AudioTimeStamp* timeStamp, UInt32 busNumber, UInt32 numberFrames,
                               AudioBufferList* ioData) {
    if (!refCon) return 0;
    return static_cast<vnCoreAudioRecorder*>(refCon)->AudioInputProc(ioActionFlags, timeStamp, busNumber,
                                                                     numberFrames, ioData);
}

OSStatus static_RateListener(AudioObjectID objectID, UInt32, const AudioObjectPropertyAddress*, void* client) {
    Float64 rate = 0;
    GetDeviceProperty(objectID, kAudioDevicePropertyNominalSampleRate, kAudioObjectPropertyScopeGlobal, rate);
    if (!client) return 0;
    // Empty while the recorder is being destroyed: its destructor is then
    // waiting to remove this listener.
    const std::shared_ptr<vnCoreAudioRecorder> recorder =
        static_cast<vnCoreAudioRecorder*>(client)->weak_from_this().lock();
    if (recorder) recorder->SampleRateChangedTo(rate);
    return 0;
}

OSStatus fill_complex_input_proc(AudioConverterRef, UInt32* ioPackets, AudioBufferList* ioData,
                                 AudioStreamPacketDescription**, void* context) {
    auto* input = static_cast<vnConverterInput*>(context);
    if (!ioPackets) return 1;
    if (!input || !ioData || ioData->mNumberBuffers == 0 || input->bytes == 0) {
        *ioPackets = 0;
        return 1;
    }
    *ioPackets = input->frames;
    ioData->mBuffers[0] = AudioBuffer{input->channels, input->bytes, input->data};
    input->bytes = 0;
    return 0;
}

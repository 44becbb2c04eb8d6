#pragma once
#include <AudioToolbox/AudioToolbox.h>
#include <CoreAudio/CoreAudio.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

class zBuffer;

// Records one CoreAudio input device through a HAL output unit used for
// input, at the device's hardware rate, and hands every rendered block of
// interleaved signed 16-bit samples to Send, converted to the target rate
// first when one is set that differs from the hardware's.
//
// Made with std::make_shared (the rate listener keeps the recorder alive
// through weak_from_this while it rebuilds it); derived classes override Send
// (and may wrap AudioInputProc, BeginCapture and StopCapture).
//
// Threads:
// - BeginCapture, StopCapture, InitializeCapture, StartInitializedAudioUnit
//   and SampleRateChangedTo come from any control thread; they are
//   serialised by ControlMutex() (re-entrant, so overrides may call the base
//   operations while holding it). A derived class holds it across a sequence
//   that a rebuild must not cut into.
// - AudioInputProc, and so Send, run on the unit's real-time I/O thread.
//   They never block: while a control thread is replacing the unit, the
//   render buffer or the converter, a block is skipped rather than waited
//   for. The unit is disposed (which waits for a block in progress) before
//   anything it uses is freed, so no block runs on a disposed unit.
// - static_RateListener runs on CoreAudio's notification thread when the
//   device's nominal rate changes, and there calls StopCapture and then
//   BeginCapture, at any time: the caller of BeginCapture/StopCapture must
//   tolerate that rebuild (after StopCapture the device id is 0, so the
//   base's own rebuild stops at "no device identifier" until a derived class
//   sets the id again).
// - Send must not allocate, lock for long or call back into the recorder's
//   control operations.
//
// Lifetime: the unit is disposed by StopCapture (or, if still there, by the
// destructor). A derived class whose AudioInputProc or Send uses its own
// members calls StopCapture before those members go. The destructor removes
// the rate listeners, waiting for one in progress.
class vnCoreAudioRecorder : public std::enable_shared_from_this<vnCoreAudioRecorder> {
public:
    explicit vnCoreAudioRecorder(unsigned int deviceID);
    vnCoreAudioRecorder(const vnCoreAudioRecorder&) = delete;
    vnCoreAudioRecorder& operator=(const vnCoreAudioRecorder&) = delete;

    // InitializeCapture, then StartInitializedAudioUnit; 0 on success, with
    // the unit's rate and the channel count handed out.
    virtual int BeginCapture(double* sampleRate, unsigned int* channels);
    // Disposes the unit (which stops it) and forgets the device id.
    virtual void StopCapture();
    // The unit's input callback: render, convert when needed, Send.
    virtual OSStatus AudioInputProc(unsigned int* ioActionFlags, const AudioTimeStamp* timeStamp,
                                    unsigned int busNumber, unsigned int numberFrames, AudioBufferList* ioData);
    // One block of interleaved 16-bit samples in the client format's channel
    // count, at the target rate; `data` is valid during the call only.
    virtual void Send(double sampleTime, unsigned long long hostTimeMicros, void* data, int size);
    // Declared after the operations above so that their slots stay first.
    virtual ~vnCoreAudioRecorder();

    // Sets the unit up on the device: 0, or -1 or the platform's status when
    // a step fails (each failure is told in the user log).
    int InitializeCapture(double* sampleRate, unsigned int* channels);
    // Resets the sample time and starts the unit.
    OSStatus StartInitializedAudioUnit();
    // Rebuilds capture at the device's new rate (the argument is not used).
    void SampleRateChangedTo(double sampleRate);

    // The device that has `uid`; 0 when none does.
    static AudioDeviceID get_id_from_uid(const char* uid);

protected:
    std::recursive_mutex& ControlMutex() { return fControlMutex; }

    // Converts one block into `out`; the bytes produced. Real-time thread.
    int convertBuffer(void* out, int outBytes, void* in, int inBytes);
    // Replaces the converter (and its output block) by one from `inputRate`
    // to `outputRate` in `format`; none when the converter cannot be made.
    void createSampleRateConverter(const AudioStreamBasicDescription& format, double inputRate, double outputRate);

    // Rate to deliver; 0 means the hardware rate, which replaces it during
    // initialisation. A derived class may set it before BeginCapture.
    double fTargetSampleRate = 0;
    // The recorded device; 0 after StopCapture. Atomic: the rate listener's
    // rebuild reads it on the notification thread.
    std::atomic<AudioDeviceID> fDeviceID;
    AudioUnit fAudioUnit = nullptr;
    // What the unit delivers: interleaved signed 16-bit at the unit's rate.
    AudioStreamBasicDescription fClientFormat{};
    UInt32 fBufferFrameSize = 0;
    // One buffer whose samples follow the list header in the same block
    // (calloc/free).
    AudioBufferList* fRenderBuffer = nullptr;
    // Null when the unit's rate is the target rate.
    AudioConverterRef fConverter = nullptr;
    // 768,000 bytes of converted audio; only with a converter.
    zBuffer* fConverterOutput = nullptr;
    // Frames delivered since the unit was started.
    double fSampleTime = 0;

private:
    // Disposes the unit and frees what the real-time thread uses. Control
    // lock held.
    void DisposeUnit();
    void DisposeConverter();
    void FreeRenderBuffer();
    void ListenToRate(AudioDeviceID device);

    std::recursive_mutex fControlMutex;
    // Held by a control thread while it changes what a block uses; the
    // real-time thread only tries it.
    std::mutex fDeliveryMutex;
    // Devices the rate listener was registered on, removed at destruction.
    std::vector<AudioDeviceID> fListenedDevices;
};

// What fill_complex_input_proc hands the converter: one block, once.
struct vnConverterInput {
    void* data;
    UInt32 bytes;
    UInt32 frames;
    UInt32 channels;
};

// The unit's input callback; `refCon` is the recorder (0 when null).
OSStatus static_AudioInputProc(void* refCon, AudioUnitRenderActionFlags* ioActionFlags,
                               const AudioTimeStamp* timeStamp, UInt32 busNumber, UInt32 numberFrames,
                               AudioBufferList* ioData);
// The nominal-rate listener; `client` is the recorder. Notification thread.
OSStatus static_RateListener(AudioObjectID objectID, UInt32 count, const AudioObjectPropertyAddress* addresses,
                             void* client);
// The converter's input proc; `context` is a vnConverterInput, whose block it
// hands over once and then answers 1 (no more input for this call).
OSStatus fill_complex_input_proc(AudioConverterRef converter, UInt32* ioPackets, AudioBufferList* ioData,
                                 AudioStreamPacketDescription** outDescriptions, void* context);

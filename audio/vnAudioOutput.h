#pragma once
#include <AudioToolbox/AudioToolbox.h>
#include <CoreAudio/CoreAudio.h>

#include "vnAudioOutputQueue.h"

// Plays queued blocks of captured audio on a real output device: a HAL
// output unit whose render callback drains the queue, playing silence for
// whatever has not arrived.
//
// Made and owned by the capture-driver recorder, which calls Start, Stop,
// Uninitialize and Dispose on one thread (its caller's), offers blocks to
// Queue() from its real-time input thread, and, once the unit is disposed,
// empties the queue under the queue's mutex. The render callback runs on the
// device's I/O thread from Start until Stop returns; it allocates nothing
// and holds the queue's mutex only for its copy. Never calls back into its
// owner. Destroying it stops, uninitialises and disposes whatever unit is
// left.
class vnAudioOutput {
public:
    // About 170 ms of 16-bit stereo at 48 kHz: enough to ride out the two
    // devices' cycles meeting out of step, small enough to stay in sync.
    static constexpr UInt32 kDefaultQueueBytes = 32768;

    explicit vnAudioOutput(UInt32 queueBytes = kDefaultQueueBytes);
    ~vnAudioOutput();
    vnAudioOutput(const vnAudioOutput&) = delete;
    vnAudioOutput& operator=(const vnAudioOutput&) = delete;

    // Makes a HAL output unit on `device`, gives it `format` (interleaved
    // linear PCM, signed 16-bit or float32, at the device's rate: the bytes
    // the producer offers) as its client format, initialises and starts it.
    // 0, or the failing status with the unit disposed again:
    // kAudioHardwareBadDeviceError for device 0, kAudioUnitErr_Initialized
    // when a unit exists already, kAudioUnitErr_FormatNotSupported for any
    // other format, or what the unit answered.
    OSStatus Start(AudioObjectID device, const AudioStreamBasicDescription& format);
    // AudioOutputUnitStop; the render callback has returned for good when it
    // returns. kAudioUnitErr_Uninitialized without a unit.
    OSStatus Stop();
    // AudioUnitUninitialize; kAudioUnitErr_Uninitialized without a unit.
    OSStatus Uninitialize();
    // Disposes of the unit; nothing without one.
    void Dispose();

    vnAudioOutputQueue& Queue() { return fQueue; }

private:
    static OSStatus Render(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time, UInt32 bus,
                           UInt32 frames, AudioBufferList* data);
    OSStatus Configure(AudioObjectID device, const AudioStreamBasicDescription& format);

    vnAudioOutputQueue fQueue;
    AudioUnit fUnit = nullptr;
};

#pragma once

namespace MC {

// Receives packets of system audio: 16-bit interleaved stereo at 48 kHz. The
// data belong to the caller and are valid only during the call, which runs on
// the audio thread and must not allocate or block.
class SystemAudioReceiver {
public:
    virtual void ProcessAudioData(void* data, int size) = 0;
    virtual ~SystemAudioReceiver() = default;
};

} // namespace MC

#include "AudioPacket.h"

#include "MacCaptureLogging.h"

namespace MC {
namespace {
constexpr int kBytesPerFrame = 4;
}

void WriteAudioPacketHeader(QCP_AudioBuffer& buffer) {
    buffer.format = QCP_AUDIO_FORMAT_PCM;
    buffer.sampleRate = 48000;
    buffer.channels = 2;
    buffer.bitsPerSample = 16;
    buffer.timeStamp = 0;
    buffer.one = 1;
}

int RoundToWholeFrames(int size) {
    const int rounded = size / kBytesPerFrame * kBytesPerFrame;
    if (rounded != size)
        MC_LOG(3, "Converted Audio Data Size is Malformed=%d Packet Size=%d\n", rounded, kBytesPerFrame);
    return rounded;
}

} // namespace MC

#pragma once
#include "QCP_API.h"

namespace MC {

// Writes the constant header of an audio record: the chain always delivers
// 48 kHz, 2-channel, 16-bit interleaved samples, time stamp 0.
void WriteAudioPacketHeader(QCP_AudioBuffer& buffer);

// The packet size rounded toward zero to whole frames (4 bytes). A size that
// needed rounding is logged, with the rounded size and the frame size.
int RoundToWholeFrames(int size);

} // namespace MC

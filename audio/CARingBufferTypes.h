#pragma once
// The CoreAudio buffer-list types the rings exchange audio in. On macOS they
// are the system's own; elsewhere this is the small subset the rings need,
// with CoreAudio's names and layout, until the project's CoreAudio subset
// provides them (that header then defines QCP_COREAUDIO_BUFFER_TYPES and this
// block steps aside).
#if defined(__APPLE__)
#include <CoreAudio/CoreAudioTypes.h>
#elif !defined(QCP_COREAUDIO_BUFFER_TYPES)
#define QCP_COREAUDIO_BUFFER_TYPES

typedef unsigned int UInt32;
typedef signed long long SInt64;

// One buffer of audio: interleaved channels, or one channel of a
// de-interleaved stream.
struct AudioBuffer {
    UInt32 mNumberChannels;
    UInt32 mDataByteSize;
    void* mData;
};

// A count of buffers followed by that many buffers; callers allocate room for
// more than the one declared here.
struct AudioBufferList {
    UInt32 mNumberBuffers;
    AudioBuffer mBuffers[1];
};

#endif

#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

struct sf_private_tag;

namespace qcphost {

// A WAV file of 16-bit PCM at one rate and channel count, written through
// libsndfile, which fixes the RIFF and data sizes up when the file is closed.
// Made and used by one thread at a time (the audio recorder's writer); not
// copyable. The destructor closes the file.
class WavWriter {
public:
    WavWriter() = default;
    ~WavWriter();
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;

    // Creates or truncates `path`. False, with the reason in `error`, when
    // the file cannot be made.
    bool Open(const std::string& path, uint32_t rate, uint32_t channels, std::string& error);
    // Interleaved frames. False, with the reason in `error`, when the file
    // takes fewer than all of them (a full disk, say); the file stays open.
    bool Write(const int16_t* samples, size_t frames, std::string& error);
    // Writes the final sizes; false with the reason when that fails. Closing
    // a writer that is not open does nothing.
    bool Close(std::string& error);

private:
    sf_private_tag* fFile = nullptr;
    uint32_t fChannels = 0;
    std::string fPath;
};

} // namespace qcphost

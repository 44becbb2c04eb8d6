#include "WavWriter.h"

#include <sndfile.h>

namespace qcphost {

WavWriter::~WavWriter() {
    std::string ignored;
    Close(ignored);
}

bool WavWriter::Open(const std::string& path, uint32_t rate, uint32_t channels, std::string& error) {
    std::string ignored;
    Close(ignored);
    SF_INFO info{};
    info.samplerate = int(rate);
    info.channels = int(channels);
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    fFile = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!fFile) {
        error = "cannot write " + path + ": " + sf_strerror(nullptr);
        return false;
    }
    fChannels = channels;
    fPath = path;
    return true;
}

bool WavWriter::Write(const int16_t* samples, size_t frames, std::string& error) {
    const auto items = sf_count_t(frames * fChannels);
    if (sf_write_short(fFile, samples, items) == items) return true;
    error = "writing " + fPath + " failed: " + sf_strerror(fFile);
    return false;
}

bool WavWriter::Close(std::string& error) {
    if (!fFile) return true;
    const int problem = sf_close(fFile);
    fFile = nullptr;
    if (problem == 0) return true;
    error = "finishing " + fPath + " failed: " + sf_error_number(problem);
    return false;
}

} // namespace qcphost

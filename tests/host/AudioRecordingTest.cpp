// The audio side of `qcp-host capture`: the WAV file, the analysis of the
// packets, and the program recording the simulated system's sine.
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "AudioAnalysis.h"
#include "AudioRecorder.h"
#include "FrequencyScan.h"

using qcphost::AudioAnalysis;
using qcphost::AudioRecorder;

namespace {

constexpr uint32_t kPacketBytes = 7200;
constexpr uint64_t kPacketMicros = 37500;

// Interleaved stereo frames of a sine, the same on both channels.
std::vector<int16_t> Sine(double hz, double amplitude, size_t frames, size_t firstFrame = 0) {
    std::vector<int16_t> samples(frames * 2);
    for (size_t i = 0; i < frames; ++i)
        samples[2 * i] = samples[2 * i + 1] =
            int16_t(std::lround(amplitude * 32767 * std::sin(2 * M_PI * hz * double(firstFrame + i) / 48000)));
    return samples;
}

QCP_AudioBuffer Packet(std::vector<int16_t>& samples) {
    QCP_AudioBuffer packet{};
    packet.format = QCP_AUDIO_FORMAT_PCM;
    packet.sampleRate = 48000;
    packet.channels = 2;
    packet.bitsPerSample = 16;
    packet.dataBytes = uint32_t(samples.size() * 2);
    packet.one = 1;
    packet.data = samples.data();
    return packet;
}

std::string Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

uint32_t Le32(const std::string& bytes, size_t at) {
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i) value = value << 8 | uint8_t(bytes[at + i]);
    return value;
}
uint16_t Le16(const std::string& bytes, size_t at) { return uint16_t(uint8_t(bytes[at]) | uint8_t(bytes[at + 1]) << 8); }

// The chunk `id` of a RIFF/WAVE file: its offset past the chunk header, or npos.
size_t Chunk(const std::string& wav, const char* id) {
    for (size_t at = 12; at + 8 <= wav.size(); at += 8 + Le32(wav, at + 4) + (Le32(wav, at + 4) & 1))
        if (wav.compare(at, 4, id) == 0) return at + 8;
    return std::string::npos;
}

std::string TempPath(const std::string& name) {
    return testing::TempDir() + "qcp-audio-" + std::to_string(getpid()) + "-" + name;
}

} // namespace

TEST(AudioRecording, WritesEveryGoodPacketInOrderUnderACorrectHeader) {
    const std::string path = TempPath("packets.wav");
    std::vector<std::vector<int16_t>> packets = {Sine(440, 0.5, 1800), Sine(440, 0.5, 1800, 1800), {},
                                                 Sine(1000, 0.9, 5000), Sine(440, 0.5, 1800, 3600)};
    std::string expected;
    {
        AudioRecorder recorder(path);
        std::string error;
        ASSERT_TRUE(recorder.Start(error)) << error;
        uint64_t arrival = 1'000'000;
        for (auto& samples : packets) {
            recorder.Offer(Packet(samples), arrival += kPacketMicros);
            expected.append(reinterpret_cast<const char*>(samples.data()), samples.size() * 2);
        }
        // Refused: another rate, an odd byte count, no data.
        std::vector<int16_t> spare = Sine(440, 0.5, 100);
        QCP_AudioBuffer wrongRate = Packet(spare), oddBytes = Packet(spare), noData = Packet(spare);
        wrongRate.sampleRate = 44100;
        oddBytes.dataBytes -= 2;
        noData.data = nullptr;
        for (const QCP_AudioBuffer& bad : {wrongRate, oddBytes, noData}) recorder.Offer(bad, arrival);
        recorder.Finish();

        EXPECT_EQ(recorder.malformed(), 3u);
        EXPECT_EQ(recorder.dropped(), 0u);
        EXPECT_TRUE(recorder.problem().empty()) << recorder.problem();
        const AudioAnalysis::Result& result = recorder.result();
        EXPECT_EQ(result.packets, 5u);
        EXPECT_EQ(result.sizes, (std::map<uint32_t, uint64_t>{{0, 1}, {kPacketBytes, 3}, {20000, 1}}))
            << "a packet larger than a slot counts once";
        EXPECT_EQ(result.frames, 3 * 1800u + 5000u);
    }
    const std::string wav = Read(path);
    ASSERT_GE(wav.size(), 44u);
    EXPECT_EQ(wav.substr(0, 4), "RIFF");
    EXPECT_EQ(Le32(wav, 4), wav.size() - 8);
    EXPECT_EQ(wav.substr(8, 4), "WAVE");
    const size_t format = Chunk(wav, "fmt ");
    ASSERT_NE(format, std::string::npos);
    EXPECT_EQ(Le16(wav, format), 1) << "integer PCM";
    EXPECT_EQ(Le16(wav, format + 2), 2) << "channels";
    EXPECT_EQ(Le32(wav, format + 4), 48000u);
    EXPECT_EQ(Le32(wav, format + 8), 48000u * 4) << "bytes per second";
    EXPECT_EQ(Le16(wav, format + 12), 4) << "bytes per frame";
    EXPECT_EQ(Le16(wav, format + 14), 16) << "bits";
    const size_t data = Chunk(wav, "data");
    ASSERT_NE(data, std::string::npos);
    EXPECT_EQ(Le32(wav, data - 4), expected.size());
    EXPECT_TRUE(wav.compare(data, std::string::npos, expected) == 0) << "the samples, in order, and nothing else";
    std::remove(path.c_str());
}

TEST(AudioRecording, SaysWhyTheFileCannotBeMade) {
    const std::string path = TempPath("no such directory") + "/audio.wav";
    AudioRecorder recorder(path);
    std::string error;
    EXPECT_FALSE(recorder.Start(error));
    EXPECT_NE(error.find(path), std::string::npos) << error;
    recorder.Finish();
}

TEST(AudioAnalysis, FindsLostAudioButNotJitterOrABurstAfterAStall) {
    AudioAnalysis analysis(48000, 2);
    uint64_t due = 5'000'000;
    const auto arrive = [&](int64_t lateMicros) {
        analysis.Packet(kPacketBytes, uint64_t(int64_t(due) + lateMicros));
        due += kPacketMicros;
    };
    arrive(0);
    for (int i = 1; i < 20; ++i) arrive(i % 3 ? 7000 : -3000); // jitter within the tolerance
    EXPECT_EQ(analysis.result().gaps, 0u);

    due += 2 * kPacketMicros; // two packets never come
    for (int i = 0; i < 10; ++i) arrive(0);
    EXPECT_EQ(analysis.result().gaps, 1u);
    EXPECT_NEAR(analysis.result().gapTotalMs, 75, 0.01);

    // A stall of 100 ms, then the stalled packets at once: nothing is missing.
    const uint64_t stalledUntil = due + 100'000;
    for (int i = 0; i < 3; ++i) arrive(int64_t(stalledUntil - due));
    for (int i = 0; i < 10; ++i) arrive(0);
    EXPECT_EQ(analysis.result().gaps, 1u) << analysis.result().gapTotalMs;

    // The burst left no lead behind that would hide a later loss.
    due += kPacketMicros;
    for (int i = 0; i < 10; ++i) arrive(0);
    const AudioAnalysis::Result& result = analysis.result();
    EXPECT_EQ(result.packets, 53u);
    EXPECT_EQ(result.gaps, 2u);
    EXPECT_NEAR(result.gapLongestMs, 75, 0.01);
    EXPECT_NEAR(result.gapTotalMs, 112.5, 0.01);
}

TEST(AudioAnalysis, TellsWhenTheSoundBeganByTheEarliestArrivals) {
    // Packets arrive late by varying amounts, two of them on time: the sound
    // began one packet before the first arrival, less none of the lateness.
    AudioAnalysis analysis(48000, 2);
    const std::vector<int16_t> silence(kPacketBytes / 2, 0);
    const uint64_t began = 3'000'000;
    for (uint64_t i = 0; i < 10; ++i) {
        const uint64_t late = i == 3 || i == 7 ? 0 : 4000 + 500 * i;
        analysis.Packet(kPacketBytes, began + (i + 1) * kPacketMicros + late);
        analysis.Samples(silence.data(), silence.size() / 2);
    }
    EXPECT_NEAR(analysis.result().startMicros, double(began), 1);
}

TEST(AudioAnalysis, MeasuresPeakRecentLevelAndFrequency) {
    AudioAnalysis analysis(48000, 2);
    // 1.5 s of a loud 1234.5 Hz tone, then 1.2 s of a quiet 300 Hz one.
    const std::vector<int16_t> loud = Sine(1234.5, 0.5, 72000), quiet = Sine(300, 0.1, 57600, 72000);
    analysis.Samples(loud.data(), 72000);
    analysis.Samples(quiet.data(), 57600);
    analysis.Finish();
    const AudioAnalysis::Result& result = analysis.result();
    EXPECT_NEAR(result.peakDbfs, -6.02, 0.01);
    EXPECT_NEAR(result.recentPeakDbfs, -20, 0.01) << "the last second holds only the quiet tone";
    EXPECT_NEAR(result.dominantHz, 1234.5, 0.1) << "found in the loudest second";

    AudioAnalysis silence(48000, 2);
    const std::vector<int16_t> nothing(96000 * 2);
    silence.Samples(nothing.data(), 96000);
    silence.Finish();
    EXPECT_EQ(silence.result().peakDbfs, -INFINITY);
    EXPECT_EQ(silence.result().dominantHz, 0);
}

TEST(FrequencyScan, PicksTheStrongestToneAcrossTheRange) {
    for (const double hz : {31.0, 440.0, 997.3, 15000.0}) {
        std::vector<float> mixed(48000);
        // A weaker tone an octave up must not win.
        for (size_t i = 0; i < mixed.size(); ++i)
            mixed[i] = float(0.3 * std::sin(2 * M_PI * hz * double(i) / 48000) +
                             0.2 * std::sin(2 * M_PI * 2 * hz * double(i) / 48000));
        EXPECT_NEAR(qcphost::DominantFrequency(mixed.data(), mixed.size(), 48000), hz, 0.1);
    }
    const std::vector<float> tooShort(4000, 0.5f);
    EXPECT_EQ(qcphost::DominantFrequency(tooShort.data(), tooShort.size(), 48000), 0) << "under a tenth of a second";
}

namespace {

// A number in summary.json's "audio" object, NAN when it is missing.
double AudioField(const std::string& json, const std::string& name) {
    const size_t audio = json.find("\"audio\": {");
    const size_t at = json.find("\"" + name + "\": ", audio);
    if (audio == std::string::npos || at == std::string::npos) return NAN;
    return std::strtod(json.c_str() + at + name.size() + 4, nullptr);
}

} // namespace

TEST(AudioRecording, TheHostRecordsTheSimulatedSine) {
    const std::string dir = TempPath("capture");
    const std::string command = "env QCP_PLATFORM=sim '" + std::string(QCP_TEST_HOST) +
                                "' capture --audio --no-video --duration 2 --output '" + dir + "' >'" + dir +
                                ".out' 2>'" + dir + ".err'";
    const int status = std::system(command.c_str());
    const std::string err = Read(dir + ".err");
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << err << Read(dir + ".out");
    EXPECT_NE(err.find(" packets "), std::string::npos) << "the progress line counts packets: " << err;
    EXPECT_NE(err.find(" dBFS"), std::string::npos) << err;

    SF_INFO info{};
    SNDFILE* file = sf_open((dir + "/audio.wav").c_str(), SFM_READ, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(info.samplerate, 48000);
    EXPECT_EQ(info.channels, 2);
    EXPECT_EQ(info.format, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    std::vector<short> samples(size_t(info.frames) * 2);
    EXPECT_EQ(sf_readf_short(file, samples.data(), info.frames), info.frames);
    sf_close(file);
    // Past the first packets, which may hold silence before the routing settled.
    int peak = 0, crossings = 0;
    const size_t first = 2 * 4800;
    ASSERT_GT(samples.size(), first + 2 * 48000) << "over a second of audio";
    for (size_t i = first; i + 2 < samples.size(); i += 2) {
        peak = std::max(peak, std::abs(int(samples[i])));
        crossings += (samples[i] < 0) != (samples[i + 2] < 0);
    }
    EXPECT_NEAR(20 * std::log10(peak / 32768.0), -12, 0.1);
    EXPECT_NEAR(crossings / 2.0 / ((samples.size() - first) / 2 / 48000.0), 440, 2) << "by zero crossings";

    const std::string json = Read(dir + "/summary.json");
    const double packets = AudioField(json, "packets");
    EXPECT_NEAR(packets, 2 * 26.7, 8) << json;
    EXPECT_EQ(packets * 7200, double(samples.size() * 2)) << "every packet is in the file";
    EXPECT_NE(json.find("\"packet_sizes\": {\"7200\": " + std::to_string(int(packets)) + "}"), std::string::npos)
        << json;
    EXPECT_EQ(AudioField(json, "gaps"), 0) << json;
    EXPECT_EQ(AudioField(json, "dropped_packets"), 0) << json;
    EXPECT_NEAR(AudioField(json, "peak_dbfs"), -12, 0.1) << json;
    EXPECT_NEAR(AudioField(json, "dominant_hz"), 440, 0.5) << json;
    EXPECT_EQ(json.find("\"frames\""), std::string::npos) << "no screen capture: " << json;
    std::filesystem::remove_all(dir);
    std::remove((dir + ".out").c_str());
    std::remove((dir + ".err").c_str());
}

#pragma once
#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "AudioAnalysis.h"
#include "QCP_API.h"
#include "WavWriter.h"

namespace qcphost {

// Records the plug-in's audio packets into a WAV file and analyses them.
//
// Made by the capture command, which registers Arrived with the recorder as
// its context and must clear that registration before calling Finish or
// destroying the recorder. Arrived runs on the plug-in's audio thread, one
// call at a time: it checks the packet, copies it into preallocated slots and
// returns; it never allocates, locks or touches the file. A writer thread of
// the recorder's own writes the WAV file and feeds the analysis. When the
// slots are full (the writer has fallen seconds behind) a packet is dropped
// and counted. Progress and results may be read from any thread; neither
// calls back.
class AudioRecorder {
public:
    static constexpr uint32_t kRate = 48000, kChannels = 2, kBits = 16;

    struct Progress {
        uint64_t packets = 0;
        double recentPeakDbfs = -INFINITY;
    };

    explicit AudioRecorder(std::string path);
    ~AudioRecorder(); // finishes
    AudioRecorder(const AudioRecorder&) = delete;
    AudioRecorder& operator=(const AudioRecorder&) = delete;

    // Opens the file and starts the writer; false with the reason when the
    // file cannot be made.
    bool Start(std::string& error);

    // The audio callback.
    static void Arrived(void* context, QCP_AudioBuffer* packet);
    // What Arrived does, with the arrival time given (microseconds on the
    // steady clock).
    void Offer(const QCP_AudioBuffer& packet, uint64_t arrivalMicros);

    // Writes what is queued, fixes the file's sizes up and finds the dominant
    // frequency. Once no more packets can arrive; later calls do nothing.
    void Finish();

    Progress progress() const;
    // After Finish.
    const AudioAnalysis::Result& result() const { return fAnalysis.result(); }
    uint64_t dropped() const { return fDropped.load(); }
    uint64_t malformed() const { return fMalformed.load(); }
    const std::string& path() const { return fPath; }
    // Empty unless writing the file failed.
    const std::string& problem() const { return fProblem; }

private:
    // A slot holds a packet or a piece of one; a larger packet spans slots.
    struct Slot {
        uint64_t arrival = 0;
        uint32_t bytes = 0;       // in this slot
        uint32_t packetBytes = 0; // in the whole packet
        bool first = false;       // the packet's first slot
        std::array<int16_t, 4096> samples;
    };
    static constexpr size_t kSlots = 128; // 5.5 s of 7,200-byte packets

    void Run();
    void Write(const Slot& slot);

    const std::string fPath;
    std::vector<Slot> fSlots;
    // Slots filled and not yet written: the producer adds, the writer
    // subtracts; each keeps its own position.
    std::atomic<size_t> fFilled{0};
    size_t fProduce = 0, fConsume = 0;
    std::atomic<uint64_t> fDropped{0}, fMalformed{0};
    std::atomic<bool> fStopping{false};
    std::thread fWriter;

    // The writer thread's; read by others once it has been joined.
    WavWriter fWav;
    AudioAnalysis fAnalysis{kRate, kChannels};
    std::string fProblem;
    mutable std::mutex fProgressMutex; // the writer publishes to progress() under it
    Progress fProgress;
};

} // namespace qcphost

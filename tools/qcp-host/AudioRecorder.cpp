#include "AudioRecorder.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace qcphost {
namespace {

constexpr auto kWriterPoll = std::chrono::milliseconds(5);

bool WellFormed(const QCP_AudioBuffer& packet) {
    return packet.format == QCP_AUDIO_FORMAT_PCM && packet.sampleRate == AudioRecorder::kRate &&
           packet.channels == AudioRecorder::kChannels && packet.bitsPerSample == AudioRecorder::kBits &&
           packet.dataBytes % (AudioRecorder::kChannels * 2) == 0 && (packet.data || packet.dataBytes == 0);
}

} // namespace

AudioRecorder::AudioRecorder(std::string path) : fPath(std::move(path)), fSlots(kSlots) {}

AudioRecorder::~AudioRecorder() { Finish(); }

bool AudioRecorder::Start(std::string& error) {
    if (!fWav.Open(fPath, kRate, kChannels, error)) return false;
    fWriter = std::thread([this] { Run(); });
    return true;
}

void AudioRecorder::Arrived(void* context, QCP_AudioBuffer* packet) {
    using namespace std::chrono;
    const auto now = uint64_t(duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count());
    static_cast<AudioRecorder*>(context)->Offer(*packet, now);
}

void AudioRecorder::Offer(const QCP_AudioBuffer& packet, uint64_t arrivalMicros) {
    if (!WellFormed(packet)) {
        fMalformed.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    constexpr size_t kSlotBytes = sizeof(Slot::samples);
    const size_t needed = std::max<size_t>(1, (packet.dataBytes + kSlotBytes - 1) / kSlotBytes);
    if (kSlots - fFilled.load(std::memory_order_acquire) < needed) {
        fDropped.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    const auto* data = static_cast<const uint8_t*>(packet.data);
    for (size_t piece = 0; piece < needed; ++piece) {
        Slot& slot = fSlots[fProduce];
        fProduce = (fProduce + 1) % kSlots;
        slot.arrival = arrivalMicros;
        slot.packetBytes = packet.dataBytes;
        slot.first = piece == 0;
        slot.bytes = uint32_t(std::min(kSlotBytes, packet.dataBytes - piece * kSlotBytes));
        if (slot.bytes) std::memcpy(slot.samples.data(), data + piece * kSlotBytes, slot.bytes);
    }
    fFilled.fetch_add(needed, std::memory_order_release);
}

void AudioRecorder::Run() {
    for (;;) {
        // Read the flag first: a packet counted before it was raised is written.
        const bool stopping = fStopping.load(std::memory_order_acquire);
        if (fFilled.load(std::memory_order_acquire) == 0) {
            if (stopping) return;
            std::this_thread::sleep_for(kWriterPoll);
            continue;
        }
        Write(fSlots[fConsume]);
        fConsume = (fConsume + 1) % kSlots;
        fFilled.fetch_sub(1, std::memory_order_release);
    }
}

void AudioRecorder::Write(const Slot& slot) {
    if (slot.first) fAnalysis.Packet(slot.packetBytes, slot.arrival);
    const size_t frames = slot.bytes / (kChannels * 2);
    fAnalysis.Samples(slot.samples.data(), frames);
    // After a failed write the file is abandoned but the analysis goes on.
    if (fProblem.empty()) fWav.Write(slot.samples.data(), frames, fProblem);
    std::lock_guard lock(fProgressMutex);
    fProgress = {fAnalysis.result().packets, fAnalysis.result().recentPeakDbfs};
}

void AudioRecorder::Finish() {
    if (!fWriter.joinable()) return;
    fStopping.store(true, std::memory_order_release);
    fWriter.join();
    std::string problem;
    if (!fWav.Close(problem) && fProblem.empty()) fProblem = problem;
    fAnalysis.Finish();
}

AudioRecorder::Progress AudioRecorder::progress() const {
    std::lock_guard lock(fProgressMutex);
    return fProgress;
}

} // namespace qcphost

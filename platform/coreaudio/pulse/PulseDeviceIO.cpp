#include "PulseDeviceIO.h"

#include <algorithm>
#include <cstring>

#include "zTime.h"

namespace qcp::coreaudio::pulse {
namespace {
// The device whose I/O thread this is, so that a proc starting or stopping
// its own device's procs does not wait for itself.
thread_local const PulseDeviceIO* tDeviceIO = nullptr;

// Room for what a server sends beyond a period (larger fragments than
// asked), or for a proc that ran late.
constexpr UInt32 kRingPeriods = 4;

std::vector<UInt32> Layout(UInt32 channels, bool present) {
    return present ? BufferLayout(channels, true) : std::vector<UInt32>{};
}
} // namespace

PulseDeviceIO::PulseDeviceIO(PulseConnection& connection, AudioObjectID device, const PulseDeviceIOSetup& setup)
    : fConnection(connection), fDevice(device), fSetup(setup),
      fFrames(std::clamp<UInt32>(setup.frames, 1, kMaxFrames)), fIndex(setup.index) {
    fRing.Allocate(size_t{kRingPeriods} * kMaxFrames, setup.channels);
    fInput.Allocate(Layout(setup.channels, setup.input), kMaxFrames);
    fMix.Allocate(Layout(setup.channels, !setup.input), kMaxFrames);
    fScratch.Allocate(Layout(setup.channels, !setup.input), kMaxFrames);
    fThread = std::thread([this] { Run(); });
}

PulseDeviceIO::~PulseDeviceIO() {
    fClosing = true;
    {
        std::lock_guard lock(fMutex);
        fWake.notify_all();
    }
    {
        PulseConnection::Lock lock(fConnection);
        fConnection.Signal();
    }
    Notify();
    fThread.join();
}

void PulseDeviceIO::Notify() {
    {
        std::lock_guard lock(fNewsMutex);
        fStreamNews = true;
    }
    fStreamChanged.notify_one();
}

void PulseDeviceIO::AwaitStream() {
    std::unique_lock lock(fNewsMutex);
    fStreamChanged.wait(lock, [this] { return fStreamNews || fClosing; });
    fStreamNews = false;
}

bool PulseDeviceIO::OnThisThread() const { return tDeviceIO == this; }

bool PulseDeviceIO::Live() const { return fProcs.Live(); }

void PulseDeviceIO::Start(AudioDeviceIOProc proc, void* clientData) {
    std::unique_lock lock(fMutex, std::defer_lock);
    if (!OnThisThread()) lock.lock();
    fProcs.Start(proc, clientData);
    ++fNews;
    fWake.notify_all();
}

void PulseDeviceIO::Stop(AudioDeviceIOProc proc, void* clientData) {
    std::unique_lock lock(fMutex, std::defer_lock);
    if (!OnThisThread()) lock.lock();
    fProcs.Stop(proc, clientData);
}

void PulseDeviceIO::Configure(UInt32 frames) { fFrames = std::clamp<UInt32>(frames, 1, kMaxFrames); }

void PulseDeviceIO::Hold() {
    std::lock_guard lock(fMutex);
    fIndex = PA_INVALID_INDEX;
}

void PulseDeviceIO::Revive(uint32_t index) {
    std::lock_guard lock(fMutex);
    fIndex = index;
    ++fNews;
    fWake.notify_all();
}

bool PulseDeviceIO::CurrentTime(AudioTimeStamp& time) const {
    std::lock_guard lock(fClockMutex);
    if (!fRunning) return false;
    const int64_t now = zTime::MicroNow();
    time = TimeAt(fSample + Float64(now - fCycleMicros) * fSetup.rate / 1e6, now);
    return true;
}

AudioTimeStamp PulseDeviceIO::TimeAt(Float64 sample, int64_t micros) const {
    AudioTimeStamp time{};
    time.mSampleTime = sample;
    time.mHostTime = static_cast<UInt64>(micros) * 1000;
    time.mRateScalar = 1;
    time.mFlags = kAudioTimeStampSampleHostTimeValid | kAudioTimeStampRateScalarValid;
    return time;
}

void PulseDeviceIO::SetRunning(bool running) {
    std::lock_guard lock(fClockMutex);
    fRunning = running;
    fCycleMicros = zTime::MicroNow();
}

std::optional<uint32_t> PulseDeviceIO::AwaitProcs(bool failed) {
    std::unique_lock lock(fMutex);
    fWake.wait(lock, [&] { return fClosing || (Live() && (!failed || fNews != fSeenNews)); });
    fSeenNews = fNews;
    if (fClosing) return std::nullopt;
    return fIndex;
}

void PulseDeviceIO::Run() {
    tDeviceIO = this;
    bool failed = false;
    bool running = false;
    for (std::optional<uint32_t> index; (index = AwaitProcs(failed));) {
        bool up = fStreamUp;
        if (!fStream) {
            PulseConnection::Lock lock(fConnection);
            up = Connect(*index);
        }
        if (up && !running) SetRunning(running = true);
        const UInt32 frames = fFrames;
        bool moved = up && (fSetup.input ? Record(frames) : AwaitRoom(frames));
        bool live = true;
        if (moved) {
            std::lock_guard lock(fMutex);
            Cycle(frames);
            live = Live();
        }
        if (moved && !fSetup.input) moved = Play(frames);
        moved = moved && fStreamUp;
        failed = !moved;
        if (failed || !live) {
            PulseConnection::Lock lock(fConnection);
            Disconnect();
            SetRunning(running = false);
        }
    }
    PulseConnection::Lock lock(fConnection);
    Disconnect();
}

bool PulseDeviceIO::Connect(uint32_t index) {
    pa_context* context = fConnection.Context();
    if (index == PA_INVALID_INDEX) return false; // held
    if (!context || pa_context_get_state(context) != PA_CONTEXT_READY) return false;
    const pa_sample_spec format{PA_SAMPLE_FLOAT32NE, static_cast<uint32_t>(fSetup.rate),
                                static_cast<uint8_t>(fSetup.channels)};
    if (!pa_sample_spec_valid(&format)) return false;
    fStream = pa_stream_new(context, "device I/O", &format, nullptr);
    if (!fStream) return false;
    pa_stream_set_state_callback(fStream, &OnStream, this);
    const auto period = static_cast<uint32_t>(pa_frame_size(&format) * fFrames);
    pa_buffer_attr attributes{};
    attributes.maxlength = attributes.tlength = attributes.prebuf = attributes.minreq = attributes.fragsize =
        static_cast<uint32_t>(-1);
    // By index, and never moved: the stream ends with its device rather than
    // following the defaults the chain itself changes.
    const std::string device = std::to_string(index);
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
    int connected;
    if (fSetup.input) {
        attributes.fragsize = period;
        pa_stream_set_read_callback(fStream, &OnRecorded, this);
        connected = pa_stream_connect_record(fStream, device.c_str(), &attributes, flags);
    } else {
        attributes.tlength = 2 * period;
        attributes.minreq = period;
        pa_stream_set_write_callback(fStream, &OnWanted, this);
        connected = pa_stream_connect_playback(fStream, device.c_str(), &attributes, flags, nullptr, nullptr);
    }
    if (connected == 0) {
        while (pa_stream_get_state(fStream) == PA_STREAM_CREATING && !fClosing) fConnection.Wait();
    }
    fStreamUp = Usable();
    if (fStreamUp) return true;
    Disconnect();
    return false;
}

void PulseDeviceIO::Disconnect() {
    if (fStream) {
        pa_stream_set_state_callback(fStream, nullptr, nullptr);
        pa_stream_set_read_callback(fStream, nullptr, nullptr);
        pa_stream_set_write_callback(fStream, nullptr, nullptr);
        pa_stream_disconnect(fStream);
        pa_stream_unref(fStream);
        fStream = nullptr;
    }
    fStreamUp = false;
    fOwed = false;
    fRing.Clear();
}

bool PulseDeviceIO::Usable() const { return fStream && pa_stream_get_state(fStream) == PA_STREAM_READY; }

size_t PulseDeviceIO::FrameBytes() const { return size_t{fSetup.channels} * sizeof(Float32); }

void PulseDeviceIO::OnStream(pa_stream* stream, void* self) {
    auto* io = static_cast<PulseDeviceIO*>(self);
    io->fStreamUp = pa_stream_get_state(stream) == PA_STREAM_READY;
    io->fConnection.Signal(); // Connect waits on the loop for the stream's state
    io->Notify();
}

void PulseDeviceIO::OnRecorded(pa_stream* stream, size_t, void* self) {
    auto* io = static_cast<PulseDeviceIO*>(self);
    const void* data = nullptr;
    size_t bytes = 0;
    while (pa_stream_peek(stream, &data, &bytes) == 0 && bytes > 0) {
        // A hole in the recording (no data) is silence; what finds no room
        // (the I/O thread fell far behind) is dropped.
        io->fRing.Write(static_cast<const Float32*>(data), bytes / io->FrameBytes());
        pa_stream_drop(stream);
    }
    if (io->fRing.Available() >= io->fFrames) io->Notify();
}

void PulseDeviceIO::OnWanted(pa_stream* stream, size_t bytes, void* self) {
    auto* io = static_cast<PulseDeviceIO*>(self);
    io->Feed(stream, bytes);
    io->Notify();
}

void PulseDeviceIO::Feed(pa_stream* stream, size_t bytes) {
    size_t frames = std::min(bytes / FrameBytes(), fRing.Available());
    while (frames > 0) {
        // The server's own memory: no copy of ours is made on the way.
        void* to = nullptr;
        size_t room = frames * FrameBytes();
        if (pa_stream_begin_write(stream, &to, &room) < 0 || !to) break;
        const size_t read = fRing.Read(static_cast<Float32*>(to), std::min(frames, room / FrameBytes()));
        if (read == 0 || pa_stream_write(stream, to, read * FrameBytes(), nullptr, 0, PA_SEEK_RELATIVE) < 0) {
            pa_stream_cancel_write(stream);
            break;
        }
        frames -= read;
    }
    const size_t wanted = pa_stream_writable_size(stream);
    fOwed = wanted != static_cast<size_t>(-1) && wanted >= FrameBytes();
}

bool PulseDeviceIO::Record(UInt32 frames) {
    while (fRing.Available() < frames) {
        if (fClosing || !fStreamUp) return false;
        AwaitStream();
    }
    fRing.Read(static_cast<Float32*>(fInput.Prepare(frames).mBuffers[0].mData), frames);
    return true;
}

bool PulseDeviceIO::AwaitRoom(UInt32 frames) {
    // A period ahead of the server's requests, so that they find it ready.
    while (fRing.Available() >= frames || fRing.Room() < frames) {
        if (fClosing || !fStreamUp) return false;
        AwaitStream();
    }
    return true;
}

bool PulseDeviceIO::Play(UInt32 frames) {
    fRing.Write(static_cast<const Float32*>(fMix.Prepare(frames).mBuffers[0].mData), frames);
    if (!fOwed) return true;
    // The server asked for more than there was (at the start, or after this
    // thread ran late) and waits for it: handed over from here.
    PulseConnection::Lock lock(fConnection);
    if (!Usable()) return false;
    Feed(fStream, pa_stream_writable_size(fStream));
    return true;
}

void PulseDeviceIO::Cycle(UInt32 frames) {
    AudioBufferList& input = fInput.Prepare(frames);
    AudioBufferList& mix = fMix.Prepare(frames);
    const int64_t micros = zTime::MicroNow();
    const auto period = static_cast<int64_t>(Float64(frames) * 1e6 / fSetup.rate);
    Float64 sample;
    {
        std::lock_guard lock(fClockMutex);
        fSample += frames;
        fCycleMicros = micros;
        sample = fSample;
    }
    fProcs.Call(fDevice,
                {TimeAt(sample, micros), TimeAt(sample - frames, micros - period),
                 TimeAt(sample + frames, micros + period)},
                input, fScratch, mix, frames);
}

} // namespace qcp::coreaudio::pulse

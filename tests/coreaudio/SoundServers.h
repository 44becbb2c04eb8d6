#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>

#include "PipeWireServer.h"
#include "PulseServer.h"

// The sound servers the layer is tested on, for suites that run on each.
namespace coreaudio_test {

enum class SoundServerKind { PulseAudio, PipeWire };

// A private server of `kind` that reads `configuration` at every start.
inline std::unique_ptr<PrivateServer> MakeServer(SoundServerKind kind, const std::string& configuration = {}) {
    if (kind == SoundServerKind::PipeWire) return std::make_unique<PipeWireServer>(configuration);
    return std::make_unique<PulseServer>(configuration);
}

inline const char* NameOf(SoundServerKind kind) { return kind == SoundServerKind::PipeWire ? "PipeWire" : "PulseAudio"; }
inline void PrintTo(SoundServerKind kind, std::ostream* out) { *out << NameOf(kind); }

inline auto EachSoundServer() { return testing::Values(SoundServerKind::PulseAudio, SoundServerKind::PipeWire); }
// Names each test by its server: Suite.Test/PipeWire.
inline std::string SoundServerName(const testing::TestParamInfo<SoundServerKind>& info) { return NameOf(info.param); }

} // namespace coreaudio_test

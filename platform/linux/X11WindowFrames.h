#pragma once
#include <cstdint>

#include "WindowFrames.h"
#include "X11WindowServer.h"

namespace qcp::platform::x11 {

// One capture's frames of a window, read by the window server straight into
// shared surfaces (X11WindowImage::CaptureFrame). What it holds on the server
// lives with the server's connection: a lost connection takes it along and
// the next frame starts afresh on the new one.
class X11WindowFrames final : public WindowFrames {
public:
    X11WindowFrames(const X11WindowServer& server, uint32_t number)
        : fServer(server), fNumber(number), fReader(server.NewReader()) {}
    ~X11WindowFrames() override { fServer.ForgetReader(fReader); }
    X11WindowFrames(const X11WindowFrames&) = delete;
    X11WindowFrames& operator=(const X11WindowFrames&) = delete;

    WindowFrame Next(bool withBounds) override { return fServer.ReadFrame(fNumber, fReader, withBounds); }

private:
    const X11WindowServer& fServer;
    const uint32_t fNumber;
    const uint64_t fReader;
};

} // namespace qcp::platform::x11

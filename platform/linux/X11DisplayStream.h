#pragma once
#include <memory>

#include "DisplayStream.h"
#include "X11Connection.h"
#include "X11DisplayCapture.h"

namespace qcp::platform::x11 {

// A display stream over X11: the stream's own connection, read on the
// stream's queue once per refresh of the monitor (see X11DisplayCapture).
// Blank is not reported: X11 does not tell a sleeping monitor from a still
// one.
class X11DisplayStream final : public DisplayStream {
public:
    // Null when the monitor is not attached or the screen cannot be read.
    // `connection` belongs to the stream.
    static std::unique_ptr<X11DisplayStream> Create(std::unique_ptr<X11Connection> connection,
                                                    DisplayStreamConfig config, double refreshRate) {
        X11DisplayCapture* capture = X11DisplayCapture::Create(std::move(connection), std::move(config), refreshRate);
        return capture ? std::unique_ptr<X11DisplayStream>(new X11DisplayStream(capture)) : nullptr;
    }
    ~X11DisplayStream() override {
        fCapture->Close();
        fCapture->Release();
    }

    bool Start() override { return fCapture->Start(); }
    bool Stop() override { return fCapture->Stop(); }
    bool LendsFrames() const override { return true; }

private:
    explicit X11DisplayStream(X11DisplayCapture* capture) : fCapture(capture) {}

    X11DisplayCapture* const fCapture;
};

} // namespace qcp::platform::x11

#pragma once
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "Surface.h"
#include "X11Connection.h"
#include "X11OpaqueCopy.h"
#include "X11ShmImage.h"

namespace qcp::platform::x11 {

// A few surfaces of one geometry that frames are read into and handed out:
// one is written again only once nobody but the pool holds it, so a frame
// someone keeps stays as it was. With MIT-SHM each surface's memory is a
// segment the X server has attached, so the server writes the pixels
// straight into the surface that travels on.
//
// Lives on the thread that owns the connection, and goes before it closes.
class X11SurfacePool {
public:
    struct Entry {
        SurfaceRef surface;
        // Reads into the surface's memory: in the root window's format, or
        // in `format` when the pool was given one; null without MIT-SHM.
        std::unique_ptr<X11ShmImage> image;
    };

    X11SurfacePool(const X11Connection& connection, const SurfaceProperties& properties, bool shm,
                   std::optional<X11OpaqueCopy::Format> format, size_t limit);

    // A pooled surface that nobody but the pool holds; null when every one
    // is held (the pool grows to its limit first) or none can be made.
    Entry* Free();
    // The entry of a surface of this pool; null for any other.
    Entry* Find(const Surface& surface);
    const SurfaceProperties& properties() const { return fProperties; }

private:
    const X11Connection& fConnection;
    const SurfaceProperties fProperties;
    const bool fShm;
    const std::optional<X11OpaqueCopy::Format> fFormat;
    const size_t fLimit;
    std::vector<Entry> fEntries;
};

} // namespace qcp::platform::x11

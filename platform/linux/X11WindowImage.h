#pragma once
#include <X11/Xlib.h>
#include <X11/extensions/Xdamage.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "Image.h"
#include "ShmSurfaceMemory.h"
#include "WindowFrames.h"
#include "X11Connection.h"
#include "X11OpaqueCopy.h"
#include "X11ShmImage.h"
#include "X11SurfacePool.h"
#include "X11WindowWatch.h"

namespace qcp::platform::x11 {

// Pictures of single windows. With the Composite extension a window's frame
// (the window manager's decoration window holding the client, a child of the
// root) is redirected, automatically, so the server keeps its full content in
// a pixmap even where other windows cover it; the picture is read from that
// pixmap. A frame stays redirected for as long as the connection lives, so
// the content of a window captured frame after frame stays complete; the
// server undoes it when the frame is destroyed. With DAMAGE, a redirected
// frame that has not changed since its last picture gives that picture again
// instead of being read anew. Without Composite, or when the server refuses,
// the window's area of the screen is read instead. With MIT-SHM the server
// writes the pixels straight into the memory of a picture from a small pool
// of shared segments: one that no one holds any more is written again, so a
// window read at every refresh is neither copied nor allocated here. Pictures
// of windows without an alpha channel say so (ImageAlpha::Padding): the copy
// that draws them sets it.
//
// A capture's frames (X11WindowFrames) are read the same way into surfaces
// of a pool of the capture's own, made opaque by the server first where the
// window has no alpha channel (X11OpaqueCopy): the surfaces go to the host as
// they are. Each capture remembers what its last frame read, so an unchanged
// window gives that frame again.
//
// Frames are selected for X11WindowWatch::kWindowEvents (which include
// their structure changes). A connection that closes frees the pixmaps.
//
// Used on the window server's connection, under its mutex and a trap.
class X11WindowImage {
public:
    explicit X11WindowImage(const X11Connection& connection);

    // The client's frame cropped to the client with its decorations, or
    // what the screen shows there; null when it cannot be read.
    ImageRef Capture(const X11WindowPlace& place);
    // Whether frames can be read into surfaces: MIT-SHM and RENDER with a
    // 32-bit B, G, R, A visual.
    bool ReadsFrames() const { return fOpaqueFormat.has_value(); }
    // The frame of capture `reader` (made at its first call), as Capture
    // reads the picture; no surface when it cannot be read.
    WindowFrame CaptureFrame(const X11WindowPlace& place, uint64_t reader);
    // Frees what capture `reader` holds on the server.
    void ForgetReader(uint64_t reader) { fReaders.erase(reader); }

    // Takes an event of the connection: a frame changed, resized or
    // destroyed. Every event is handed here, so that nothing piles up. The
    // caller holds a trap.
    void OnEvent(const XEvent& event);

private:
    struct Area {
        int x = 0, y = 0, width = 0, height = 0;
        bool Empty() const { return width <= 0 || height <= 0; }
        Area Intersect(const Area& other) const;
        friend bool operator==(const Area&, const Area&) = default;
    };
    // A redirected frame: its pixmap while its size and mapping hold (the
    // server gives it a new one when either changes), how many changes it
    // reported (damage, a new pixmap), and the last picture read of it with
    // the count it was read at. Without DAMAGE every read is a new one.
    struct Redirected {
        Damage damage = None;
        Pixmap pixmap = None;
        uint64_t changes = 0;
        Area read; // in the frame's pixmap
        ImageRef image;
        uint64_t imageChanges = 0;
    };
    // One capture's frames: surfaces of the read's size, the opaque copy of
    // the drawable it reads from, and what its last frame read (a window's
    // frame at a count of changes, or the screen, which is read every time).
    struct FrameReader {
        std::unique_ptr<X11SurfacePool> pool;
        std::unique_ptr<X11OpaqueCopy> opaque;
        Drawable opaqueSource = None;
        SurfaceRef last;
        Window frame = None;
        Area read;
        std::optional<uint64_t> changes;
    };
    // Whether `redirected` has reported no change since a read made at its
    // count `readAt` (never without DAMAGE).
    bool Unchanged(const Redirected& redirected, std::optional<uint64_t> readAt) const;
    // An area of a drawable of that visual and depth, read into one of the
    // reader's surfaces (through an opaque copy below depth 32); null when
    // the server refuses or every surface is held.
    SurfaceRef ReadFrame(FrameReader& reader, Drawable drawable, Visual* visual, int depth, const Area& area);
    // What of a window is read: the client with its decorations, in root
    // pixels and in its frame's pixmap; none when nothing of it is viewable.
    struct Wanted {
        Area onRoot, inFrame;
    };
    static std::optional<Wanted> WantedOf(const X11WindowPlace& place);
    // The part of the root window that shows `wanted`; empty when none does.
    Area OnScreen(const Area& wanted) const;
    Redirected& Redirect(Window frame);
    // The frame's pixmap, named once; None when the server refuses.
    Pixmap PixmapOf(Window frame, Redirected& redirected);
    // An area of a drawable of that visual and depth, over MIT-SHM when it
    // can; null when the server refuses.
    ImageRef Read(Drawable drawable, const Area& area, ImageAlpha alpha, Visual* visual, int depth);

    // A segment the server has attached for reads of one size and depth, and
    // the picture over its memory, which the picture keeps: written again
    // once no one else holds the picture.
    struct SharedPicture {
        ~SharedPicture() { image.reset(); } // the server detaches before the memory can go
        std::shared_ptr<ShmSurfaceMemory> memory;
        std::unique_ptr<X11ShmImage> image;
        int width = 0, height = 0, depth = 0;
        Visual* visual = nullptr;
        ImageRef picture;
    };
    // One to read such an area into, from the pool or new; null without
    // MIT-SHM, or when every picture is held and the pool is full.
    SharedPicture* FreeShared(const Area& area, ImageAlpha alpha, Visual* visual, int depth);

    const X11Connection& fConnection;
    Display* const fDisplay;
    const Window fRoot;
    bool fComposite = false;
    int fDamageEventBase = -1;
    std::unordered_map<Window, Redirected> fRedirected;
    const bool fShm;
    std::vector<std::unique_ptr<SharedPicture>> fShared;
    const std::optional<X11OpaqueCopy::Format> fOpaqueFormat;
    std::unordered_map<uint64_t, FrameReader> fReaders;
};

} // namespace qcp::platform::x11

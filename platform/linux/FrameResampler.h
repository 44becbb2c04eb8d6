#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qcp::platform::x11 {

// Turns what the X server returned for a part of the screen into a frame:
// nearest-sample scaling to the output size, opaque black wherever the
// wanted part lies off the screen, and the alpha byte made opaque (a
// depth-24 screen leaves it undefined). Built once per stream geometry;
// resampling allocates nothing.
class FrameResampler {
public:
    // Output `outputWidth` x `outputHeight` pixels show the source rectangle
    // (x, y, width, height), in screen pixels, of which only `readable` —
    // (left, top, width, height), in the same pixels, a whole-pixel area —
    // can be read; read pixels are addressed from the readable area's
    // top-left. Each output pixel takes the source pixel under its centre.
    struct Geometry {
        uint32_t outputWidth = 0, outputHeight = 0;
        double x = 0, y = 0, width = 0, height = 0;
        int readableLeft = 0, readableTop = 0, readableWidth = 0, readableHeight = 0;
    };

    void Configure(const Geometry& geometry);

    // Whether the read area maps one to one onto the whole output, so that
    // the server can write the frame in place and only MakeOpaque is left.
    bool Identity() const { return fIdentity; }
    // Writes the output from `source` (rows of `sourceStride` bytes, the
    // readable area) into `target` (rows of `targetStride` bytes).
    void Resample(const uint8_t* source, size_t sourceStride, uint8_t* target, size_t targetStride) const;

    // Sets the alpha byte of every pixel of a B, G, R, A frame to 255.
    static void MakeOpaque(uint8_t* pixels, size_t stride, uint32_t width, uint32_t height);

private:
    // Readable column (or row) for each output column (row), -1 where the
    // source lies off the readable area.
    static void MapAxis(std::vector<int32_t>& map, uint32_t outputSize, double start, double size, int readableStart,
                        int readableSize);

    uint32_t fOutputWidth = 0, fOutputHeight = 0;
    std::vector<int32_t> fColumns, fRows;
    // The output columns with a readable source: a single run, since the map
    // only grows.
    uint32_t fFirstColumn = 0, fEndColumn = 0;
    bool fIdentity = false;
};

} // namespace qcp::platform::x11

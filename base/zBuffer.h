#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

// Growable byte buffer: the serialised text of a record waits here between a
// host's size query and its fill; a block made once at a fixed size serves a
// real-time writer, which only writes into it.
class zBuffer {
public:
    zBuffer() = default;
    // `size` zero bytes.
    explicit zBuffer(size_t size) : fBytes(size) {}

    void Append(const void* data, size_t size) {
        if (size == 0) return;
        const size_t at = fBytes.size();
        fBytes.resize(at + size);
        std::memcpy(fBytes.data() + at, data, size);
    }
    void Append(std::string_view text) { Append(text.data(), text.size()); }
    void Clear() { fBytes.clear(); }
    const uint8_t* Data() const { return fBytes.data(); }
    uint8_t* Data() { return fBytes.data(); }
    size_t Size() const { return fBytes.size(); }
    bool Empty() const { return fBytes.empty(); }
    std::string_view View() const { return {reinterpret_cast<const char*>(fBytes.data()), fBytes.size()}; }

private:
    std::vector<uint8_t> fBytes;
};

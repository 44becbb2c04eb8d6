#include "zIDGenerator.h"

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <random>

std::string zIDGenerator::GenerateUUID() {
    static std::mutex mutex;
    static std::mt19937_64 engine = [] {
        std::random_device device;
        std::seed_seq seed{device(), device(), device(), device(), device(), device(), device(), device()};
        return std::mt19937_64(seed);
    }();
    uint64_t high, low;
    {
        std::lock_guard lock(mutex);
        high = engine();
        low = engine();
    }
    high = (high & ~0xF000ull) | 0x4000ull;             // version 4
    low = (low & ~(0xC0ull << 56)) | (0x80ull << 56);   // RFC 4122 variant
    char text[37];
    std::snprintf(text, sizeof text, "%08X-%04X-%04X-%04X-%012llX", unsigned(high >> 32), unsigned(high >> 16) & 0xFFFF,
                  unsigned(high & 0xFFFF), unsigned(low >> 48), (unsigned long long)(low & 0xFFFFFFFFFFFFull));
    return text;
}

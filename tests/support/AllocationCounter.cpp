#include "AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace {
thread_local int* tCount = nullptr;
} // namespace

AllocationCounter::AllocationCounter() : fOuter(tCount) { tCount = &fCount; }

AllocationCounter::~AllocationCounter() { tCount = fOuter; }

// GCC takes the free() below for a mismatch once it inlines these into a
// delete expression; they are a matched pair.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpragmas"
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(size_t size) {
    if (tCount) ++*tCount;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
#pragma GCC diagnostic pop

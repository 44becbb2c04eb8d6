#include "AllocationCounter.h"

#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {
thread_local int* tCount = nullptr;

// The named threads' count: which names, and a generation that tells each
// thread when to look at its own name again.
std::atomic<const std::vector<std::string>*> gNames{nullptr};
std::atomic<unsigned> gGeneration{0};
std::atomic<int> gNamedCount{0};
// Threads looking at the names: the counter waits for them before it goes.
std::atomic<int> gReaders{0};
thread_local unsigned tSeenGeneration = 0;
thread_local bool tNamed = false;

// Allocation-free: it runs inside operator new.
void CountIfNamed() {
    if (!gNames.load()) return;
    ++gReaders;
    if (const std::vector<std::string>* names = gNames.load()) {
        const unsigned generation = gGeneration.load();
        if (tSeenGeneration != generation) {
            tSeenGeneration = generation;
            char own[16] = {};
            pthread_getname_np(pthread_self(), own, sizeof own);
            tNamed = false;
            for (const std::string& name : *names) tNamed |= std::strncmp(own, name.c_str(), 15) == 0;
        }
        if (tNamed) ++gNamedCount;
    }
    --gReaders;
}
} // namespace

AllocationCounter::AllocationCounter() : fOuter(tCount) { tCount = &fCount; }

AllocationCounter::~AllocationCounter() { tCount = fOuter; }

NamedThreadsAllocationCounter::NamedThreadsAllocationCounter(std::vector<std::string> names)
    : fNames(std::move(names)) {
    gNamedCount = 0;
    gGeneration.fetch_add(1);
    gNames.store(&fNames);
}

NamedThreadsAllocationCounter::~NamedThreadsAllocationCounter() {
    gNames.store(nullptr);
    while (gReaders.load() != 0) {
    }
}

int NamedThreadsAllocationCounter::count() const { return gNamedCount.load(); }

// GCC takes the free() below for a mismatch once it inlines these into a
// delete expression; they are a matched pair.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpragmas"
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(size_t size) {
    if (tCount) ++*tCount;
    CountIfNamed();
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
#pragma GCC diagnostic pop

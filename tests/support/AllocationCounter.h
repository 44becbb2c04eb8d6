#pragma once

// Counts the heap allocations the calling thread makes while it lives. A test
// program that uses it compiles AllocationCounter.cpp, which replaces the
// global allocator (for the whole program; it counts only inside a counter).
class AllocationCounter {
public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    int count() const { return fCount; }

private:
    int fCount = 0;
    int* const fOuter;
};

#pragma once
#include <string>
#include <vector>

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

// Counts the heap allocations made, while it lives, by every thread whose
// name is one of `names`: threads a test cannot enter, such as a capture's.
// Names compare on their first 15 characters, all a thread's name holds; a
// thread must have its name before the counter is made. One at a time.
class NamedThreadsAllocationCounter {
public:
    explicit NamedThreadsAllocationCounter(std::vector<std::string> names);
    ~NamedThreadsAllocationCounter();
    NamedThreadsAllocationCounter(const NamedThreadsAllocationCounter&) = delete;
    NamedThreadsAllocationCounter& operator=(const NamedThreadsAllocationCounter&) = delete;

    int count() const;

private:
    const std::vector<std::string> fNames;
};

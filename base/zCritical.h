#pragma once
#include <memory>
#include <mutex>

// Re-entrant critical section. Satisfies BasicLockable, so std::lock_guard and
// std::unique_lock work with it; Lock()/Unlock() keep the base library's names.
class zCritical {
public:
    static std::unique_ptr<zCritical> Factory() { return std::make_unique<zCritical>(); }

    void Lock() { fMutex.lock(); }
    void Unlock() { fMutex.unlock(); }
    bool TryLock() { return fMutex.try_lock(); }

    void lock() { Lock(); }
    void unlock() { Unlock(); }
    bool try_lock() { return TryLock(); }

private:
    std::recursive_mutex fMutex;
};

using zLocker = std::lock_guard<zCritical>;

#include "zQueue.h"

#include <algorithm>

#include "zThread.h"
#include "zTime.h"

bool zQueue::Delayed::operator<(const Delayed& other) const {
    // std::push_heap keeps the largest on top: the earliest due, then the first submitted.
    return due != other.due ? due > other.due : order > other.order;
}

zQueue::zQueue(std::string label) : fLabel(std::move(label)), fThread([this] { Run(); }) {}

zQueue::~zQueue() {
    {
        std::lock_guard lock(fMutex);
        fStopping = true;
    }
    fWake.notify_all();
    if (fThread.joinable()) fThread.join();
}

void zQueue::Async(Work work) {
    {
        std::lock_guard lock(fMutex);
        fReady.push(std::move(work));
    }
    fWake.notify_one();
}

void zQueue::Sync(const Work& work) {
    if (IsCurrent()) {
        work();
        return;
    }
    std::mutex doneMutex;
    std::condition_variable doneCondition;
    bool done = false;
    Async([&] {
        work();
        std::lock_guard lock(doneMutex);
        done = true;
        doneCondition.notify_one();
    });
    std::unique_lock lock(doneMutex);
    doneCondition.wait(lock, [&] { return done; });
}

uint64_t zQueue::After(int64_t micros, Work work) {
    const int64_t due = zTime::MicroNow() + std::max<int64_t>(micros, 0);
    uint64_t ticket = 0;
    {
        std::lock_guard lock(fMutex);
        ticket = fNextOrder++;
        fDelayed.push_back({due, ticket, std::move(work)});
        std::push_heap(fDelayed.begin(), fDelayed.end());
    }
    fWake.notify_one();
    return ticket;
}

bool zQueue::Cancel(uint64_t ticket) {
    Work dropped; // destroyed after the lock is let go: it may do anything
    {
        std::lock_guard lock(fMutex);
        const auto found =
            std::find_if(fDelayed.begin(), fDelayed.end(), [ticket](const Delayed& d) { return d.order == ticket; });
        if (found == fDelayed.end()) return false;
        dropped = std::move(found->work);
        *found = std::move(fDelayed.back());
        fDelayed.pop_back();
        std::make_heap(fDelayed.begin(), fDelayed.end());
    }
    // The queue's wait for the earliest item may now wait too little, never
    // too long: it looks again when it wakes.
    return true;
}

void zQueue::Run() {
    zThread::NameCurrent(fLabel);
    std::unique_lock lock(fMutex);
    for (;;) {
        const int64_t now = zTime::MicroNow();
        while (!fDelayed.empty() && fDelayed.front().due <= now) {
            std::pop_heap(fDelayed.begin(), fDelayed.end());
            fReady.push(std::move(fDelayed.back().work));
            fDelayed.pop_back();
        }
        if (!fReady.empty()) {
            Work work = fReady.pop();
            lock.unlock();
            work();
            lock.lock();
            continue;
        }
        if (fStopping) return;
        if (fDelayed.empty()) {
            fWake.wait(lock);
        } else {
            const int64_t due = fDelayed.front().due; // the vector may grow while waiting
            zTime::WaitUntil(fWake, lock, due);
        }
    }
}

void zQueue::Ring::push(Work work) {
    if (fCount == fSlots.size()) {
        std::vector<Work> grown(std::max<size_t>(8, fSlots.size() * 2));
        for (size_t i = 0; i < fCount; ++i) grown[i] = std::move(fSlots[(fHead + i) % fSlots.size()]);
        fSlots = std::move(grown);
        fHead = 0;
    }
    fSlots[(fHead + fCount) % fSlots.size()] = std::move(work);
    ++fCount;
}

zQueue::Work zQueue::Ring::pop() {
    Work work = std::move(fSlots[fHead]);
    fSlots[fHead] = nullptr;
    fHead = (fHead + 1) % fSlots.size();
    --fCount;
    return work;
}

zQueue& zQueue::Main() {
    static zQueue mainQueue("main");
    return mainQueue;
}

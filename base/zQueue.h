#pragma once
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// A serial work queue on its own named thread: work items run one at a time
// in submission order (delayed items when their time comes).
class zQueue {
public:
    using Work = std::function<void()>;

    explicit zQueue(std::string label);
    // Runs the items already submitted, drops delayed items not yet due, joins.
    ~zQueue();
    zQueue(const zQueue&) = delete;
    zQueue& operator=(const zQueue&) = delete;

    void Async(Work work);
    // Runs `work` on the queue and waits for it; runs it inline when called
    // from the queue's own thread, where waiting would deadlock.
    void Sync(const Work& work);
    // Runs `work` once `micros` microseconds of the zTime clock have passed.
    // Returns a ticket for Cancel (never 0).
    uint64_t After(int64_t micros, Work work);
    // Drops a delayed item that has not come due yet, so that it never runs
    // (its work is destroyed on the calling thread). False when it came due
    // (it runs, or ran) or the ticket names nothing.
    bool Cancel(uint64_t ticket);

    bool IsCurrent() const { return std::this_thread::get_id() == fThread.get_id(); }
    const std::string& Label() const { return fLabel; }

    // The process's main queue: the thread that runs dialogs and alerts.
    static zQueue& Main();

private:
    struct Delayed {
        int64_t due; // on the zTime clock
        uint64_t order;
        Work work;
        bool operator<(const Delayed& other) const;
    };
    void Run();

    std::string fLabel;
    std::mutex fMutex;
    std::condition_variable fWake;
    // Ready work in a ring that only grows: once warmed up, posting a frame
    // to the queue allocates nothing (small work items fit in Work itself).
    class Ring {
    public:
        bool empty() const { return fCount == 0; }
        void push(Work work);
        Work pop();

    private:
        std::vector<Work> fSlots;
        size_t fHead = 0;
        size_t fCount = 0;
    };
    Ring fReady;
    std::vector<Delayed> fDelayed; // a heap ordered by due time, then submission
    uint64_t fNextOrder = 1; // doubles as the ticket: 0 names nothing
    bool fStopping = false;
    std::thread fThread;
};

// Listener blocks on serial dispatch queues, over the simulated sound system:
// where they run, what they are told, and removal from every thread that
// may do it.
#include <gtest/gtest.h>

#include <Block.h>
#include <dispatch/dispatch.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "CoreAudioTestSupport.h"
#include "DefaultSimAudioTest.h"
#include "WaitFor.h"

namespace {

using namespace coreaudio_test;
using namespace std::chrono_literals;

const AudioObjectPropertyAddress kVolume = Address(kAudioDevicePropertyVolumeScalar, kAudioObjectPropertyScopeOutput);

// Every call a block heard, with its thread.
struct Heard {
    std::mutex mutex;
    std::vector<std::thread::id> threads;
    std::vector<AudioObjectPropertyAddress> addresses;
    std::atomic<int> calls{0};

    AudioObjectPropertyListenerBlock Block() {
        return [this](UInt32 count, const AudioObjectPropertyAddress* changed) {
            {
                std::lock_guard lock(mutex);
                threads.push_back(std::this_thread::get_id());
                addresses.insert(addresses.end(), changed, changed + count);
            }
            ++calls;
        };
    }
    bool Reach(int wanted) {
        return WaitFor([&] { return calls >= wanted; }, 10s);
    }
};

// Counts proc-form calls and remembers the notification thread.
struct Notifications {
    std::atomic<int> calls{0};
    std::atomic<std::thread::id> thread;
    static OSStatus Listener(AudioObjectID, UInt32, const AudioObjectPropertyAddress*, void* clientData) {
        auto* self = static_cast<Notifications*>(clientData);
        self->thread = std::this_thread::get_id();
        ++self->calls;
        return kAudioHardwareNoError;
    }
};

// Runs `work` on the queue and waits for it: everything queued before it has run.
bool RunOn(dispatch_queue_t queue, std::function<void()> work) {
    std::atomic<bool> done{false};
    dispatch_async(queue, [&] {
        work();
        done = true;
    });
    return WaitFor([&] { return done.load(); }, 10s);
}

std::thread::id ThreadOf(dispatch_queue_t queue) {
    std::thread::id id;
    RunOn(queue, [&] { id = std::this_thread::get_id(); });
    return id;
}

bool Same(const AudioObjectPropertyAddress& a, const AudioObjectPropertyAddress& b) {
    return a.mSelector == b.mSelector && a.mScope == b.mScope && a.mElement == b.mElement;
}

class ListenerBlocks : public DefaultSimAudioTest {
protected:
    void SetUp() override {
        DefaultSimAudioTest::SetUp();
        fSpeakers = fSim->DeviceID(qcp::coreaudio::sim::kSimSpeakersUID);
    }
    // Each call is a change: the volume steps between two levels.
    void ChangeVolume() {
        fLevel = fLevel == 0.25f ? 0.75f : 0.25f;
        ASSERT_EQ(Write(fSpeakers, kVolume, fLevel), 0);
    }
    OSStatus Add(dispatch_queue_t queue, const AudioObjectPropertyListenerBlock& block) {
        return AudioObjectAddPropertyListenerBlock(fSpeakers, &kVolume, queue, block);
    }
    OSStatus Remove(dispatch_queue_t queue, const AudioObjectPropertyListenerBlock& block) {
        return AudioObjectRemovePropertyListenerBlock(fSpeakers, &kVolume, queue, block);
    }

    AudioObjectID fSpeakers = kAudioObjectUnknown;
    Float32 fLevel = 0.5f;
};

TEST_F(ListenerBlocks, EachBlockRunsOnItsOwnQueueWithTheChangedAddresses) {
    dispatch_queue_t first = dispatch_queue_create("com.qcp.test.first", DISPATCH_QUEUE_SERIAL);
    dispatch_queue_t second = dispatch_queue_create("com.qcp.test.second", nullptr);
    Heard onFirst, onSecond;
    Notifications notifications;
    const AudioObjectPropertyListenerBlock firstBlock = Block_copy(onFirst.Block());
    const AudioObjectPropertyListenerBlock secondBlock = Block_copy(onSecond.Block());
    ASSERT_EQ(Add(first, firstBlock), 0);
    ASSERT_EQ(Add(second, secondBlock), 0);
    ASSERT_EQ(AudioObjectAddPropertyListener(fSpeakers, &kVolume, &Notifications::Listener, &notifications), 0);

    ChangeVolume();
    ASSERT_TRUE(onFirst.Reach(1));
    ASSERT_TRUE(onSecond.Reach(1));
    ASSERT_TRUE(WaitFor([&] { return notifications.calls >= 1; }, 10s));
    for (auto [heard, queue] : {std::pair{&onFirst, first}, std::pair{&onSecond, second}}) {
        std::lock_guard lock(heard->mutex);
        ASSERT_EQ(heard->addresses.size(), 1u);
        EXPECT_TRUE(Same(heard->addresses[0], kVolume));
        EXPECT_EQ(heard->threads[0], ThreadOf(queue));
        EXPECT_NE(heard->threads[0], notifications.thread.load());
    }
    EXPECT_NE(ThreadOf(first), ThreadOf(second));

    EXPECT_EQ(Remove(first, firstBlock), 0);
    EXPECT_EQ(Remove(second, secondBlock), 0);
    EXPECT_EQ(AudioObjectRemovePropertyListener(fSpeakers, &kVolume, &Notifications::Listener, &notifications), 0);
    Block_release(firstBlock);
    Block_release(secondBlock);
    dispatch_release(first);
    dispatch_release(second);
}

TEST_F(ListenerBlocks, ACopyOfTheBlockRemovesItAndOnlyTheSameBlockDoes) {
    dispatch_queue_t queue = dispatch_queue_create("com.qcp.test.copies", DISPATCH_QUEUE_SERIAL);
    Heard removed, sentinel;
    auto callable = [&removed](UInt32, const AudioObjectPropertyAddress*) { ++removed.calls; };
    const AudioObjectPropertyListenerBlock block = callable;
    ASSERT_EQ(Add(queue, block), 0);
    ASSERT_EQ(Add(queue, Block_copy(block)), 0) << "adding again has no further effect";
    const AudioObjectPropertyListenerBlock sentinelBlock = sentinel.Block();
    ASSERT_EQ(Add(queue, sentinelBlock), 0);
    ChangeVolume();
    ASSERT_TRUE(removed.Reach(1));

    EXPECT_EQ(Remove(queue, callable), kAudioHardwareIllegalOperationError) << "another block of the same lambda";
    const AudioObjectPropertyListenerBlock copy = block;
    EXPECT_EQ(Remove(queue, copy), 0);
    EXPECT_EQ(Remove(queue, block), kAudioHardwareIllegalOperationError) << "it was registered once";
    Block_release(copy);
    Block_release(block);

    ChangeVolume();
    // The removed block was registered first: had it still been called, its
    // call would have come before the sentinel's on their one queue.
    ASSERT_TRUE(sentinel.Reach(2));
    EXPECT_EQ(removed.calls, 1);
    dispatch_release(queue);
    // The sentinel's registration keeps the queue working.
    ChangeVolume();
    EXPECT_TRUE(sentinel.Reach(3));
    EXPECT_EQ(Remove(queue, sentinelBlock), 0);
}

TEST_F(ListenerBlocks, ABlockRemovesItselfOnItsQueueWhichGoesWithItsLastCall) {
    dispatch_queue_t queue = dispatch_queue_create("com.qcp.test.itself", DISPATCH_QUEUE_SERIAL);
    std::atomic<int> calls{0};
    std::atomic<OSStatus> removal{1};
    // Raised as the block is destroyed, once the registration and every call
    // queued for it are gone.
    struct Gone {
        explicit Gone(std::atomic<bool>& flag) : flag(flag) {}
        ~Gone() { flag = true; }
        std::atomic<bool>& flag;
    };
    std::atomic<bool> gone{false};
    AudioObjectPropertyListenerBlock self;
    self = [&, token = std::make_shared<Gone>(gone)](UInt32, const AudioObjectPropertyAddress*) {
        ++calls;
        removal = Remove(queue, self);
        self = nullptr;
    };
    ASSERT_EQ(Add(queue, self), 0);
    dispatch_release(queue); // the registration keeps it

    // Both changes may be queued before the first call removes the block:
    // the second call is dropped then.
    ChangeVolume();
    ChangeVolume();
    ASSERT_TRUE(WaitFor([&] { return gone.load(); }, 10s));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(removal, kAudioHardwareNoError);
}

TEST_F(ListenerBlocks, AListenerOnTheNotificationThreadRemovesABlock) {
    dispatch_queue_t queue = dispatch_queue_create("com.qcp.test.notified", DISPATCH_QUEUE_SERIAL);
    Heard heard;
    struct Remover {
        dispatch_queue_t queue;
        AudioObjectPropertyListenerBlock block;
        std::atomic<OSStatus> status{1};
        std::atomic<int> calls{0};
        static OSStatus Listener(AudioObjectID object, UInt32, const AudioObjectPropertyAddress*, void* clientData) {
            auto* self = static_cast<Remover*>(clientData);
            if (++self->calls == 1)
                self->status = AudioObjectRemovePropertyListenerBlock(object, &kVolume, self->queue, self->block);
            return kAudioHardwareNoError;
        }
    } remover{queue, heard.Block()};
    ASSERT_EQ(Add(queue, remover.block), 0);
    ASSERT_EQ(AudioObjectAddPropertyListener(fSpeakers, &kVolume, &Remover::Listener, &remover), 0);

    ChangeVolume();
    ChangeVolume();
    // The block's proc comes before the remover's on the notification thread,
    // and its calls before the queue runs what is posted after them.
    ASSERT_TRUE(WaitFor([&] { return remover.calls >= 2; }, 10s));
    ASSERT_TRUE(RunOn(queue, [] {}));
    EXPECT_EQ(remover.status, kAudioHardwareNoError);
    EXPECT_LE(heard.calls, 1);
    AudioObjectRemovePropertyListener(fSpeakers, &kVolume, &Remover::Listener, &remover);
    dispatch_release(queue);
}

TEST_F(ListenerBlocks, AddingAndRemovingWhileChangesFireFromAnotherThread) {
    dispatch_queue_t queue = dispatch_queue_create("com.qcp.test.busy", DISPATCH_QUEUE_SERIAL);
    Heard heard;
    const AudioObjectPropertyListenerBlock block = heard.Block();
    Notifications delivered;
    ASSERT_EQ(AudioObjectAddPropertyListener(fSpeakers, &kVolume, &Notifications::Listener, &delivered), 0);
    std::atomic<bool> stop{false};
    // Keeps a few changes on their way at all times, no more.
    std::thread changer([&] {
        for (int written = 0; !stop;) {
            if (written - delivered.calls > 4) {
                std::this_thread::yield();
                continue;
            }
            Write(fSpeakers, kVolume, Float32(++written % 2 ? 0.25f : 0.75f));
        }
    });
    int failures = 0;
    for (int round = 0; round < 100; ++round) {
        const int before = heard.calls;
        failures += Add(queue, block) != 0;
        failures += !heard.Reach(before + 1);
        failures += Remove(queue, Block_copy(block)) != 0;
    }
    stop = true;
    changer.join();
    EXPECT_EQ(failures, 0);
    // A call may still be finishing on the queue; it has finished once the
    // queue has run what came after it.
    ASSERT_TRUE(RunOn(queue, [] {}));
    EXPECT_EQ(AudioObjectRemovePropertyListener(fSpeakers, &kVolume, &Notifications::Listener, &delivered), 0);
    dispatch_release(queue);
}

TEST_F(ListenerBlocks, BadArgumentsAndNoLayer) {
    dispatch_queue_t queue = dispatch_queue_create(nullptr, DISPATCH_QUEUE_SERIAL);
    Heard heard;
    const AudioObjectPropertyListenerBlock block = heard.Block();
    EXPECT_EQ(AudioObjectAddPropertyListenerBlock(fSpeakers, nullptr, queue, block), kAudio_ParamError);
    EXPECT_EQ(Add(nullptr, block), kAudio_ParamError);
    EXPECT_EQ(Add(queue, nullptr), kAudio_ParamError);
    EXPECT_EQ(AudioObjectRemovePropertyListenerBlock(fSpeakers, nullptr, queue, block), kAudio_ParamError);
    EXPECT_EQ(Remove(nullptr, block), kAudio_ParamError);
    EXPECT_EQ(Remove(queue, nullptr), kAudio_ParamError);
    EXPECT_EQ(Remove(queue, block), kAudioHardwareIllegalOperationError);
    EXPECT_EQ(AudioObjectAddPropertyListenerBlock(0x7FFF0000, &kVolume, queue, block), kAudioHardwareBadObjectError);
    EXPECT_EQ(AudioObjectRemovePropertyListenerBlock(0x7FFF0000, &kVolume, queue, block),
              kAudioHardwareIllegalOperationError)
        << "a failed registration is not kept";
    // Null queues and blocks are ignored rather than crashing.
    dispatch_async(nullptr, [] {});
    dispatch_async(queue, nullptr);
    dispatch_retain(nullptr);
    dispatch_release(nullptr);

    qcp::coreaudio::Install(nullptr);
    EXPECT_EQ(Add(queue, block), kAudioHardwareNotRunningError);
    EXPECT_EQ(Remove(queue, block), kAudioHardwareNotRunningError);
    dispatch_release(queue);
}

} // namespace

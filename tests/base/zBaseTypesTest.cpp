#include <gtest/gtest.h>

#include <cctype>
#include <climits>
#include <future>
#include <set>

#include "zCritical.h"
#include "zIDGenerator.h"
#include "zRect.h"
#include "zRefCount.h"

TEST(zRect, OnePixelRectangleHasAreaOne) {
    const zRect pixel{10, 20, 10, 20};
    EXPECT_EQ(pixel.Width(), 1);
    EXPECT_EQ(pixel.Height(), 1);
    EXPECT_TRUE(pixel.HasArea());
    EXPECT_EQ(zRect::FromOriginSize(10, 20, 1, 1), pixel);
}

TEST(zRect, DefaultRectangleIsEmpty) {
    const zRect empty;
    EXPECT_EQ(empty.Width(), 0);
    EXPECT_EQ(empty.Height(), 0);
    EXPECT_FALSE(empty.HasArea());
    EXPECT_FALSE((zRect{0, 0, 5, -1}).HasArea()); // a width alone is not an area
    EXPECT_FALSE((zRect{5, 5, 0, 0}).HasArea());  // inverted
}

TEST(zRect, FullRangeDoesNotOverflow) {
    const zRect all{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX};
    EXPECT_EQ(all.Width(), int64_t(1) << 32);
    EXPECT_TRUE(all.HasArea());
    EXPECT_FALSE((zRect{INT32_MAX, 0, INT32_MIN, 0}).HasArea());
}

TEST(zCritical, IsReEntrantAndExcludesOtherThreads) {
    zCritical critical;
    auto tryFromOtherThread = [&] {
        return std::async(std::launch::async, [&] {
            if (!critical.TryLock()) return false;
            critical.Unlock();
            return true;
        }).get();
    };
    {
        zLocker outer(critical);
        critical.Lock(); // the same thread again: must not deadlock
        EXPECT_TRUE(critical.TryLock());
        EXPECT_FALSE(tryFromOtherThread());
        critical.Unlock();
        critical.Unlock();
        EXPECT_FALSE(tryFromOtherThread()); // still held once, by `outer`
    }
    EXPECT_TRUE(tryFromOtherThread());
}

TEST(zIDGenerator, GivesDistinctVersion4UUIDTexts) {
    std::set<std::string> seen;
    for (int i = 0; i < 2000; ++i) {
        const std::string id = zIDGenerator::GenerateUUID();
        ASSERT_EQ(id.size(), 36u) << id;
        for (size_t at : {8, 13, 18, 23}) ASSERT_EQ(id[at], '-') << id;
        for (char c : id) {
            if (c != '-') {
                ASSERT_TRUE(std::isdigit(static_cast<unsigned char>(c)) || (c >= 'A' && c <= 'F')) << id;
            }
        }
        ASSERT_EQ(id[14], '4') << id; // version nibble
        ASSERT_NE(std::string("89AB").find(id[19]), std::string::npos) << id; // variant bits 10
        ASSERT_TRUE(seen.insert(id).second) << "repeated " << id;
    }
}

TEST(zIDGenerator, IsSafeToCallFromManyThreads) {
    std::vector<std::future<std::vector<std::string>>> makers;
    for (int t = 0; t < 4; ++t) {
        makers.push_back(std::async(std::launch::async, [] {
            std::vector<std::string> ids;
            for (int i = 0; i < 500; ++i) ids.push_back(zIDGenerator::GenerateUUID());
            return ids;
        }));
    }
    std::set<std::string> seen;
    for (auto& maker : makers)
        for (auto& id : maker.get()) EXPECT_TRUE(seen.insert(id).second) << id;
}

namespace {
struct Counted : zRefCount {
    explicit Counted(bool& deleted) : deleted(deleted) {}
    ~Counted() override { deleted = true; }
    bool& deleted;
};
} // namespace

TEST(zRefCount, DeletesOnTheLastReleaseOnly) {
    bool deleted = false;
    auto* object = new Counted(deleted);
    EXPECT_EQ(object->RetainCount(), 1);
    object->Retain();
    object->Release();
    EXPECT_FALSE(deleted);
    EXPECT_EQ(object->RetainCount(), 1);
    object->Release();
    EXPECT_TRUE(deleted);
}

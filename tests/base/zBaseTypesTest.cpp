#include <gtest/gtest.h>

#include <cctype>
#include <future>
#include <set>

#include "zCritical.h"
#include "zIDGenerator.h"

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

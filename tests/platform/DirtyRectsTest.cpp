#include "DirtyRects.h"

#include <gtest/gtest.h>

#include <vector>

using qcp::platform::DirtyRects;
using qcp::platform::Rect;

namespace {
std::vector<Rect> Held(const DirtyRects& dirty) { return {dirty.begin(), dirty.end()}; }
} // namespace

TEST(DirtyRects, KeepsEachChangeOnceAndDropsWhatALargerOneCovers) {
    DirtyRects dirty;
    dirty.Add({0, 0, 0, 10}); // empty
    EXPECT_TRUE(dirty.empty());
    dirty.Add({10, 10, 20, 20});
    dirty.Add({12, 12, 5, 5}); // inside the first
    dirty.Add({100, 0, 8, 8});
    EXPECT_EQ(Held(dirty), (std::vector<Rect>{{10, 10, 20, 20}, {100, 0, 8, 8}}));
    dirty.Add({0, 0, 50, 50}); // covers the first
    EXPECT_EQ(Held(dirty), (std::vector<Rect>{{100, 0, 8, 8}, {0, 0, 50, 50}}));
    dirty.Clear();
    EXPECT_TRUE(dirty.empty());
    EXPECT_EQ(Held(DirtyRects::Whole(640, 480)), (std::vector<Rect>{{0, 0, 640, 480}}));
}

TEST(DirtyRects, OneTooManyJoinsTheRectangleItGrowsLeastAndStillCoversEverything) {
    DirtyRects dirty;
    for (size_t i = 0; i < DirtyRects::kCapacity; ++i) dirty.Add({double(i) * 100, 0, 10, 10});
    ASSERT_EQ(dirty.size(), DirtyRects::kCapacity);
    dirty.Add({305, 12, 10, 10}); // nearest the fourth
    ASSERT_EQ(dirty.size(), DirtyRects::kCapacity);
    const std::vector<Rect> held = Held(dirty);
    EXPECT_EQ(held[3], (Rect{300, 0, 15, 22}));
    EXPECT_EQ(held[4], (Rect{400, 0, 10, 10}));

    DirtyRects other;
    other.Add({0, 500, 10, 10});
    dirty.Add(other);
    const auto covered = [&](const Rect& r) {
        for (const Rect& h : dirty)
            if (h.x <= r.x && h.y <= r.y && r.MaxX() <= h.MaxX() && r.MaxY() <= h.MaxY()) return true;
        return false;
    };
    EXPECT_TRUE(covered({0, 500, 10, 10}));
    EXPECT_TRUE(covered({305, 12, 10, 10}));
    for (size_t i = 0; i < DirtyRects::kCapacity; ++i) EXPECT_TRUE(covered({double(i) * 100, 0, 10, 10}));
}

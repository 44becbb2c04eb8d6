#pragma once
#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <vector>

#include "ManualClock.h"
#include "SimPlatform.h"
#include "zQueue.h"

namespace qp = qcp::platform;

namespace qcp::platform {
inline void PrintTo(const Rect& r, std::ostream* out) {
    *out << "(" << r.x << ", " << r.y << ", " << r.width << ", " << r.height << ")";
}
} // namespace qcp::platform

// The sim desktop behind a platform that keeps the area of every overlay
// redraw (main queue), or makes no overlay views, as one without a user
// interface.
class WatchedPlatform final : public qp::Platform {
public:
    explicit WatchedPlatform(bool views) : fViews(views) {}
    std::unique_ptr<qp::sim::SimPlatform> sim = qp::sim::MakePlatform();
    std::vector<qp::Rect> areas;

    std::string_view Name() const override { return "watched"; }
    qp::Screens& screens() override { return sim->screens(); }
    qp::WindowServer& windowServer() override { return sim->windowServer(); }
    qp::Cursor& cursor() override { return sim->cursor(); }
    qp::Compositor& compositor() override { return sim->compositor(); }
    qp::System& system() override { return sim->system(); }
    std::unique_ptr<qp::DisplayStream> createDisplayStream(qp::DisplayStreamConfig config) override {
        return sim->createDisplayStream(std::move(config));
    }
    std::unique_ptr<qp::DisplayLink> createDisplayLink(uint32_t id, qp::DisplayLinkCallback callback) override {
        return sim->createDisplayLink(id, std::move(callback));
    }
    std::unique_ptr<qp::RegionOverlayView> createRegionOverlay(qp::RegionOverlayInput& input) override {
        struct View final : qp::RegionOverlayView {
            std::unique_ptr<qp::RegionOverlayView> view;
            std::vector<qp::Rect>& areas;
            View(std::unique_ptr<qp::RegionOverlayView> v, std::vector<qp::Rect>& a) : view(std::move(v)), areas(a) {}
            void Show(const qp::ScreenInfo& screen, const qp::RegionOverlayState& state) override {
                view->Show(screen, state);
            }
            void Update(const qp::RegionOverlayState& state, const qp::Rect& area) override {
                areas.push_back(area);
                view->Update(state, area);
            }
        };
        return fViews ? std::make_unique<View>(sim->createRegionOverlay(input), areas) : nullptr;
    }

private:
    const bool fViews;
};

// Two displays (1: 1920 x 1080 main; 2: 1280 x 1024 at x 1920), a manual
// clock, and the sim's user acting on the overlay. No test may leave an
// overlay open once fades have had their time.
class OverlayTest : public ::testing::Test {
protected:
    static constexpr uint32_t kMain = 1;
    static constexpr uint32_t kSide = 2;
    static constexpr qp::Rect kSideFrame{1920, 0, 1280, 1024};

    void SetUp() override { Install(true); }
    void TearDown() override {
        Frames(31);
        EXPECT_EQ(user().OpenOverlays(), 0) << "an overlay outlived its fade-out";
    }
    void Install(bool views) {
        auto platform = std::make_unique<WatchedPlatform>(views);
        fPlatform = platform.get();
        world().AddScreen({kMain, {0, 0, 1920, 1080}, 1.0, "Main", 60});
        world().AddScreen({kSide, kSideFrame, 1.0, "Side", 60});
        qp::Install(std::move(platform));
    }
    qp::sim::SimUser& user() { return fPlatform->sim->user(); }
    qp::sim::SimWorld& world() { return fPlatform->sim->world(); }
    std::vector<qp::Rect> Areas() {
        std::vector<qp::Rect> areas;
        zQueue::Main().Sync([&] { areas = fPlatform->areas; });
        return areas;
    }
    // Moves the clock on and lets the main queue run what fell due: a marker
    // due now runs after everything due before it.
    void Pass(int64_t micros) {
        clock.Advance(micros);
        std::promise<void> ran;
        zQueue::Main().After(0, [&] { ran.set_value(); });
        ran.get_future().wait();
    }
    // `count` ticks of a sixtieth of a second.
    void Frames(int count) {
        for (int i = 0; i < count; ++i) Pass(16'667);
    }

    ManualClock clock;

private:
    WatchedPlatform* fPlatform = nullptr;
};

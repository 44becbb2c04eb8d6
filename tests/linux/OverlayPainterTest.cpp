#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>

#include "GtkDesktopTest.h"
#include "GtkLoop.h"
#include "OverlayPainter.h"

using qcp::platform::OverlayHandleRect;
using qcp::platform::Rect;
using qcp::platform::RegionOverlayState;
using qcp::platform::gtk::CairoSurfacePtr;
using qcp::platform::gtk::GtkLoop;
using qcp::platform::gtk::OverlayImages;
using qcp::platform::gtk::OverlaySpace;
namespace OverlayPainter = qcp::platform::gtk::OverlayPainter;

namespace {

constexpr int kWidth = 400;
constexpr int kHeight = 200;
constexpr int kGrey = 128;

// Paints the overlay over a plain grey picture into a fresh image, one pixel
// a point, and reads back grey levels (the green channel).
class Canvas {
public:
    Canvas()
        : fPicture(cairo_image_surface_create(CAIRO_FORMAT_RGB24, kWidth, kHeight)),
          fImage(cairo_image_surface_create(CAIRO_FORMAT_RGB24, kWidth, kHeight)),
          fSpace({0, 0, kWidth, kHeight}, 1, {1, 0, 0, 0, 0, kWidth, kHeight, true}, 1) {
        cairo_t* cr = cairo_create(fPicture.get());
        cairo_set_source_rgb(cr, kGrey / 255.0, kGrey / 255.0, kGrey / 255.0);
        cairo_paint(cr);
        cairo_destroy(cr);
    }

    void Paint(const RegionOverlayState& state, const OverlayImages& images) {
        cairo_t* cr = cairo_create(fImage.get());
        OverlayPainter::Paint(cr, fSpace, state, fPicture.get(), images);
        cairo_destroy(cr);
        cairo_surface_flush(fImage.get());
    }

    // At view point (x, y), y up.
    int Level(double x, double y) const {
        const int row = int(kHeight - y);
        const unsigned char* data = cairo_image_surface_get_data(fImage.get());
        const auto* pixel = reinterpret_cast<const uint32_t*>(data + row * cairo_image_surface_get_stride(fImage.get()));
        return int((pixel[int(x)] >> 8) & 0xFF);
    }
    int Brightest(const Rect& area) const {
        int brightest = 0;
        for (double y = area.y; y < area.MaxY(); ++y)
            for (double x = area.x; x < area.MaxX(); ++x) brightest = std::max(brightest, Level(x, y));
        return brightest;
    }

private:
    CairoSurfacePtr fPicture;
    CairoSurfacePtr fImage;
    OverlaySpace fSpace;
};

// Images are made for a window, on GTK's thread; painting them afterwards is
// plain cairo, here.
std::unique_ptr<OverlayImages> MakeImages(const std::string& folder) {
    GtkLoop loop;
    std::unique_ptr<OverlayImages> images;
    std::atomic<bool> made{false};
    {
        const GtkLoop::Use use(loop);
        use.Post([&] {
            if (GtkLoop::Ready()) images = std::make_unique<OverlayImages>(folder, 1, gdk_get_default_root_window());
            made = true;
        });
        TestDesktop::WaitUntil([&] { return made.load(); });
    }
    return images;
}

RegionOverlayState Shown(float alpha, int selectedCorner = 0) {
    RegionOverlayState state;
    state.selection = {100, 40, 200, 100};
    state.selectedCorner = selectedCorner;
    state.alpha = alpha;
    state.message = "Drag the frame";
    state.infoBox = {35, 150, 330, 60}; // partly off the top, as near a screen's edge
    return state;
}

} // namespace

using OverlayPainterTest = GtkDesktopTest;

TEST_F(OverlayPainterTest, OutsideIsDimmedInsideNearlyClearAndTheFadeScalesEveryLayer) {
    const std::unique_ptr<OverlayImages> made = MakeImages(QCP_TEST_RESOURCES);
    ASSERT_TRUE(made) << "GTK did not start";
    const OverlayImages& images = *made;
    ASSERT_TRUE(images.knob(false) && images.knob(true)) << "SVG images need gdk-pixbuf's SVG loader";
    Canvas canvas;

    canvas.Paint(Shown(1), images);
    EXPECT_NEAR(canvas.Level(20, 20), std::lround(kGrey * 0.3), 2);                     // black at 70 %
    EXPECT_NEAR(canvas.Level(200, 90), std::lround(kGrey * 0.9 + 255 * 0.1), 2);        // white at 10 %
    EXPECT_LT(canvas.Level(40, 185), 10);                                                // the info box
    EXPECT_GT(canvas.Brightest({45, 160, 310, 40}), 200) << "no text in the info box";

    canvas.Paint(Shown(0.5f), images);
    EXPECT_NEAR(canvas.Level(20, 20), std::lround(kGrey * (1 - 0.35)), 2);
    EXPECT_NEAR(canvas.Level(40, 185), std::lround(kGrey * 0.65 * 0.5), 2); // the box over the dimming

    canvas.Paint(Shown(0), images);
    for (const auto& [x, y] : {std::pair{20.0, 20.0}, {200.0, 90.0}, {100.0, 40.0}, {40.0, 185.0}})
        EXPECT_EQ(canvas.Level(x, y), kGrey) << x << ", " << y;
}

TEST_F(OverlayPainterTest, HandlesSitOnTheSelectionsCornersAndEdgesAndThePressedOneLooksDown) {
    const std::unique_ptr<OverlayImages> images = MakeImages(QCP_TEST_RESOURCES);
    const std::unique_ptr<OverlayImages> missing = MakeImages("/nonexistent");
    ASSERT_TRUE(images && missing) << "GTK did not start";
    ASSERT_TRUE(images->knob(false) && images->knob(true));
    ASSERT_FALSE(missing->knob(false) || missing->knob(true));
    const RegionOverlayState shown = Shown(1);
    for (const OverlayImages* set : {images.get(), missing.get()}) {
        Canvas canvas;
        canvas.Paint(Shown(1, 7), *set);
        for (int corner = 1; corner <= 8; ++corner) {
            const Rect handle = OverlayHandleRect(shown.selection, corner);
            // A point of the knob's face, off the pressed knob's centre dot.
            const double x = handle.x + 7 + 3.5, y = handle.y + 7;
            if (corner == 7) EXPECT_LT(canvas.Level(x, y), 90) << "handle 7 is not drawn pressed";
            else EXPECT_GT(canvas.Level(x, y), 200) << "no handle " << corner;
        }
    }
}

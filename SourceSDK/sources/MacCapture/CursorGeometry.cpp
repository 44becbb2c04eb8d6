#include "CursorGeometry.h"

namespace MC::CursorGeometry {

Rect ForDisplay(const Rect& screenFrame, const Rect& mainFrame, const zRect& captureFrame, Point mouse,
                const CursorMetrics& cursor) {
    const double x = ((mouse.x - screenFrame.x) - captureFrame.left) - cursor.hotSpot.x;
    const double y = ((mouse.y - (mainFrame.height - captureFrame.bottom)) - cursor.hotSpot.y) - 0.5 * cursor.height;
    return {x, y, cursor.width, cursor.height};
}

Rect ForWindow(const Rect& windowBounds, const Rect& mainFrame, double scale, Point mouse,
               const CursorMetrics& cursor) {
    const double bottom = mainFrame.height - (windowBounds.y + windowBounds.height);
    const double width = cursor.width * scale;
    const double height = cursor.height * scale;
    const double x = ((mouse.x - windowBounds.x) - cursor.hotSpot.x) * scale;
    const double y = ((mouse.y - bottom) - cursor.hotSpot.y) * scale - 0.5 * height;
    return {x, y, width, height};
}

} // namespace MC::CursorGeometry

#pragma once

// Lets the user draw a capture region on one display with the region
// selector overlay, and reports the outcome once.
namespace OBRN {

// `accepted` false: cancelled (x, y, width and height 0). Otherwise the
// region relative to the display's top-left corner, in points.
using RegionCallback = void (*)(bool accepted, int x, int y, int width, int height, void* userData);

// Shows the overlay on the screen of `displayID` with the proposed region
// (display-local, top-left origin, points). False when the display has no
// screen, the platform has no user interface or `callback` is null: nothing
// is shown and the callback is never called. True when the overlay is shown;
// the callback then comes exactly once, on the main queue: when the user
// confirms or cancels, or as a cancel when the display goes away meanwhile.
// Runs on the main queue; called from another thread it waits for it.
bool ChooseRegion(int displayID, RegionCallback callback, void* userData, int x, int y, int width, int height);

// Ends the open choice made with `userData` as Escape would: the overlay
// fades out and the callback comes at once, as a cancel. Nothing when no
// such choice is open. Main queue only.
void CancelRegionChoice(void* userData);

} // namespace OBRN

#include "MacDisplayLink.h"

#include "zTime.h"

namespace qcp::platform::mac {

std::unique_ptr<MacDisplayLink> MacDisplayLink::Create(uint32_t displayID, DisplayLinkCallback callback) {
    CVDisplayLinkRef link = nullptr;
    if (CVDisplayLinkCreateWithCGDisplay(displayID, &link) != kCVReturnSuccess || !link) return nullptr;
    std::unique_ptr<MacDisplayLink> made(new MacDisplayLink(link, std::move(callback)));
    if (CVDisplayLinkSetOutputCallback(link, &MacDisplayLink::Output, made.get()) != kCVReturnSuccess)
        return nullptr;
    return made;
}

MacDisplayLink::~MacDisplayLink() {
    Stop();
    CVDisplayLinkRelease(fLink);
}

bool MacDisplayLink::Start() {
    std::lock_guard lock(fCalling);
    if (fRunning) return true;
    fRunning = CVDisplayLinkIsRunning(fLink) || CVDisplayLinkStart(fLink) == kCVReturnSuccess;
    return fRunning;
}

void MacDisplayLink::Stop() {
    if (CVDisplayLinkIsRunning(fLink)) CVDisplayLinkStop(fLink);
    std::lock_guard lock(fCalling);
    fRunning = false;
}

bool MacDisplayLink::IsRunning() const {
    std::lock_guard lock(fCalling);
    return fRunning;
}

CVReturn MacDisplayLink::Output(CVDisplayLinkRef, const CVTimeStamp*, const CVTimeStamp*, CVOptionFlags,
                                CVOptionFlags*, void* context) {
    auto& self = *static_cast<MacDisplayLink*>(context);
    std::lock_guard lock(self.fCalling);
    if (self.fRunning) self.fCallback(zTime::MicroNow());
    return kCVReturnSuccess;
}

} // namespace qcp::platform::mac

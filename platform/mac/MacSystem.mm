#include "MacSystem.h"

#import <AppKit/AppKit.h>
#include <dispatch/dispatch.h>
#include <dlfcn.h>

#include <filesystem>

namespace qcp::platform::mac {
namespace {
NSString* Text(const std::string& text) { return [NSString stringWithUTF8String:text.c_str()]; }

// Shows `alert` modally; the index of the button chosen. Main thread only.
int RunOnMainThread(const Alert& alert) {
    @autoreleasepool {
        NSAlert* shown = [[NSAlert alloc] init];
        shown.messageText = Text(alert.message);
        shown.informativeText = Text(alert.informativeText);
        for (const std::string& button : alert.buttons) [shown addButtonWithTitle:Text(button)];
        const NSModalResponse response = [shown runModal];
        [shown release];
        const long index = long(response) - long(NSAlertFirstButtonReturn);
        return index >= 0 && size_t(index) < alert.buttons.size() ? int(index) : -1;
    }
}

// How long the installer has to open its window before it is brought to the front.
constexpr int64_t kActivateAfterNanoseconds = 1'000'000'000;
} // namespace

bool MacSystem::hasScreenRecordingPermission() const { return CGPreflightScreenCaptureAccess(); }

std::string MacSystem::resourceFolder() const {
    // Any address inside this binary names the file it was loaded from:
    // Bundle.plugin/Contents/MacOS/Binary, beside Contents/Resources.
    Dl_info info{};
    if (!dladdr(reinterpret_cast<const void*>(&RunOnMainThread), &info) || !info.dli_fname) return {};
    std::error_code error;
    const std::filesystem::path binary = std::filesystem::canonical(info.dli_fname, error);
    if (error) return {};
    const std::filesystem::path resources = binary.parent_path().parent_path() / "Resources";
    return std::filesystem::is_directory(resources, error) ? resources.string() : std::string();
}

void MacSystem::showAlertSheet(const Alert& alert) {
    // A block captures a reference as a reference: the alert is copied into it.
    const Alert copy = alert;
    dispatch_async(dispatch_get_main_queue(), ^{
      RunOnMainThread(copy);
    });
}

int MacSystem::runModalAlert(const Alert& alert) {
    if ([NSThread isMainThread]) return RunOnMainThread(alert);
    __block int chosen = -1;
    dispatch_sync(dispatch_get_main_queue(), ^{
      chosen = RunOnMainThread(alert);
    });
    return chosen;
}

void MacSystem::runInstallerPackage(const std::string& path, std::function<void(int exitStatus)> exited) {
    @autoreleasepool {
        NSURL* package = [NSURL fileURLWithPath:Text(path)];
        NSURL* application = [NSWorkspace.sharedWorkspace URLForApplicationToOpenURL:package];
        if (!application) return;
        NSString* executable = [NSBundle bundleWithURL:application].executablePath;
        if (!executable) return;
        NSTask* task = [[NSTask alloc] init];
        task.executableURL = [NSURL fileURLWithPath:executable];
        task.arguments = @[ Text(path) ];
        // The block keeps its own copy of the function.
        task.terminationHandler = ^(NSTask* ended) {
          if (exited)
              exited(ended.terminationReason == NSTaskTerminationReasonExit ? int(ended.terminationStatus) : -1);
        };
        NSError* failure = nil;
        const BOOL launched = [task launchAndReturnError:&failure];
        const pid_t pid = launched ? task.processIdentifier : 0;
        [task release];
        if (pid <= 0) return;
        dispatch_after(dispatch_time(DISPATCH_TIME_NOW, kActivateAfterNanoseconds), dispatch_get_main_queue(), ^{
          [[NSRunningApplication runningApplicationWithProcessIdentifier:pid]
              activateWithOptions:NSApplicationActivateIgnoringOtherApps];
        });
    }
}

} // namespace qcp::platform::mac

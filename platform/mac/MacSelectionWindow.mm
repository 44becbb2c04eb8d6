#include "MacSelectionWindow.h"

#import <AppKit/AppKit.h>
#include <dispatch/dispatch.h>

#include <array>
#include <vector>

using qcp::platform::MainQueueLink;
using qcp::platform::SelectionButton;
using qcp::platform::SelectionList;
using qcp::platform::SelectionWidget;
using qcp::platform::SelectionWindowInput;
using qcp::platform::SelectionWindowState;
using Link = MainQueueLink<SelectionWindowInput>;

namespace {
constexpr CGFloat kWidth = 480, kHeight = 440;
constexpr CGFloat kBorder = 12, kSpacing = 6, kCaptionHeight = 17, kButtonHeight = 32, kButtonWidth = 96;

NSString* Text(const std::string& text) { return [NSString stringWithUTF8String:text.c_str()]; }

// A mode's widgets, top to bottom and the buttons left to right.
struct Mode {
    std::array<SelectionWidget, 2> lists;
    std::array<SelectionWidget, 3> buttons; // its own, Cancel, OK
};
constexpr Mode kWindowMode{{SelectionWidget::ProcessList, SelectionWidget::WindowList},
                           {SelectionWidget::RefreshButton, SelectionWidget::WindowCancel, SelectionWidget::WindowOK}};
constexpr Mode kMonitorMode{
    {SelectionWidget::MonitorList, SelectionWidget::SelectionList},
    {SelectionWidget::RegionButton, SelectionWidget::MonitorCancel, SelectionWidget::MonitorOK}};
} // namespace

@interface QCPSelectionController : NSObject <NSWindowDelegate, NSTableViewDataSource, NSTableViewDelegate> {
    std::shared_ptr<Link> _link;
    NSWindow* _window;
    NSView* _pages[2];                  // window mode, monitor mode
    NSTextField* _captions[2][2];       // per mode, per list
    NSTableView* _tables[2][2];
    std::vector<std::string> _items[2][2];
    NSButton* _buttons[2][3];
    bool _windowMode;
    bool _applying; // the core's state is being shown: selection changes are not the user's
}
- (instancetype)initWithLink:(std::shared_ptr<Link>)link;
- (void)show:(const SelectionWindowState&)state;
- (void)update:(const SelectionWindowState&)state;
- (void)sheet:(NSString*)message informative:(NSString*)informative button:(NSString*)button;
- (void)close;
@end

@implementation QCPSelectionController

- (instancetype)initWithLink:(std::shared_ptr<Link>)link {
    if ((self = [super init])) _link = std::move(link);
    return self;
}

- (void)dealloc {
    [_window release];
    [super dealloc];
}

- (void)build {
    const NSRect content = NSMakeRect(0, 0, kWidth, kHeight);
    _window = [[NSWindow alloc] initWithContentRect:content
                                          styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable
                                            backing:NSBackingStoreBuffered
                                              defer:NO];
    _window.releasedWhenClosed = NO;
    _window.level = NSFloatingWindowLevel;
    _window.delegate = self;
    for (int mode = 0; mode < 2; ++mode) {
        NSView* page = [[NSView alloc] initWithFrame:content];
        _pages[mode] = page;
        [_window.contentView addSubview:page];
        [page release];
        // Two captioned lists above a row of buttons.
        const CGFloat listHeight =
            (kHeight - 2 * kBorder - kButtonHeight - 3 * kSpacing - 2 * (kCaptionHeight + kSpacing)) / 2;
        CGFloat top = kHeight - kBorder;
        for (int list = 0; list < 2; ++list) {
            top -= kCaptionHeight;
            NSTextField* caption = [NSTextField labelWithString:@""];
            caption.frame = NSMakeRect(kBorder, top, kWidth - 2 * kBorder, kCaptionHeight);
            [page addSubview:caption];
            _captions[mode][list] = caption;
            top -= kSpacing + listHeight;
            NSScrollView* scroll =
                [[NSScrollView alloc] initWithFrame:NSMakeRect(kBorder, top, kWidth - 2 * kBorder, listHeight)];
            scroll.hasVerticalScroller = YES;
            scroll.borderType = NSBezelBorder;
            NSTableView* table = [[NSTableView alloc] initWithFrame:scroll.bounds];
            NSTableColumn* column = [[NSTableColumn alloc] initWithIdentifier:@"item"];
            column.width = kWidth - 2 * kBorder - 20;
            [table addTableColumn:column];
            [column release];
            table.headerView = nil;
            table.dataSource = self;
            table.delegate = self;
            table.target = self;
            table.doubleAction = @selector(doubleClicked:);
            scroll.documentView = table;
            [page addSubview:scroll];
            [scroll release];
            _tables[mode][list] = table;
            [table release];
            top -= kSpacing;
        }
        // The mode's own button on the left; Cancel and OK on the right.
        const CGFloat lefts[3] = {kBorder, kWidth - kBorder - 2 * kButtonWidth - kSpacing,
                                  kWidth - kBorder - kButtonWidth};
        for (int index = 0; index < 3; ++index) {
            NSButton* button = [NSButton buttonWithTitle:@"" target:self action:@selector(pressed:)];
            button.frame = NSMakeRect(lefts[index], kBorder, kButtonWidth, kButtonHeight);
            [page addSubview:button];
            _buttons[mode][index] = button;
        }
        _buttons[mode][1].keyEquivalent = @"\033"; // Escape
        _buttons[mode][2].keyEquivalent = @"\r";   // the default button
    }
    [_window center];
}

- (void)show:(const SelectionWindowState&)state {
    if (!_window) [self build];
    [self update:state];
    [_window makeKeyAndOrderFront:nil];
    [_window makeFirstResponder:_tables[_windowMode ? 0 : 1][0]];
    [NSApp activateIgnoringOtherApps:YES];
}

- (void)update:(const SelectionWindowState&)state {
    if (!_window) return;
    _applying = true;
    _windowMode = state.windowMode;
    _window.title = Text(state.title);
    _pages[0].hidden = !state.windowMode;
    _pages[1].hidden = state.windowMode;
    const std::string* captions[2][2] = {{&state.processText, &state.windowText},
                                         {&state.monitorText, &state.selectionText}};
    const Mode modes[2] = {kWindowMode, kMonitorMode};
    for (int mode = 0; mode < 2; ++mode) {
        for (int list = 0; list < 2; ++list) {
            _captions[mode][list].stringValue = Text(*captions[mode][list]);
            const SelectionList& shown = *state.list(modes[mode].lists[list]);
            NSTableView* table = _tables[mode][list];
            if (_items[mode][list] != shown.items) {
                _items[mode][list] = shown.items;
                [table reloadData];
            }
            if (shown.selected >= 0 && shown.selected < int(shown.items.size())) {
                [table selectRowIndexes:[NSIndexSet indexSetWithIndex:NSUInteger(shown.selected)]
                    byExtendingSelection:NO];
                [table scrollRowToVisible:shown.selected];
            } else {
                [table deselectAll:nil];
            }
            table.enabled = shown.enabled;
        }
        for (int index = 0; index < 3; ++index) {
            const SelectionButton& shown = *state.button(modes[mode].buttons[index]);
            _buttons[mode][index].title = Text(shown.text);
            _buttons[mode][index].enabled = shown.enabled;
        }
    }
    _applying = false;
}

- (void)sheet:(NSString*)message informative:(NSString*)informative button:(NSString*)button {
    NSAlert* alert = [[NSAlert alloc] init];
    alert.messageText = message;
    alert.informativeText = informative;
    [alert addButtonWithTitle:button];
    if (_window.visible) [alert beginSheetModalForWindow:_window completionHandler:nil];
    else [alert runModal];
    [alert release];
}

- (void)close {
    _window.delegate = nil;
    [_window orderOut:nil];
    for (int mode = 0; mode < 2; ++mode)
        for (int list = 0; list < 2; ++list) {
            _tables[mode][list].dataSource = nil;
            _tables[mode][list].delegate = nil;
        }
}

// Which list a table is: its mode and place.
- (bool)find:(NSTableView*)table mode:(int*)mode list:(int*)list {
    for (*mode = 0; *mode < 2; ++*mode)
        for (*list = 0; *list < 2; ++*list)
            if (_tables[*mode][*list] == table) return true;
    return false;
}

- (NSInteger)numberOfRowsInTableView:(NSTableView*)table {
    int mode = 0, list = 0;
    return [self find:table mode:&mode list:&list] ? NSInteger(_items[mode][list].size()) : 0;
}

- (id)tableView:(NSTableView*)table objectValueForTableColumn:(NSTableColumn*)column row:(NSInteger)row {
    (void)column;
    int mode = 0, list = 0;
    if (![self find:table mode:&mode list:&list] || row < 0 || size_t(row) >= _items[mode][list].size()) return nil;
    return Text(_items[mode][list][size_t(row)]);
}

- (void)tableViewSelectionDidChange:(NSNotification*)notification {
    int mode = 0, list = 0;
    if (_applying || ![self find:(NSTableView*)notification.object mode:&mode list:&list]) return;
    const NSInteger row = _tables[mode][list].selectedRow;
    if (row < 0) return;
    const SelectionWidget id = (mode == 0 ? kWindowMode : kMonitorMode).lists[size_t(list)];
    Link::Send(_link, [id, index = int(row)](SelectionWindowInput& input) { input.Chose(id, index); });
}

- (void)pressed:(NSButton*)sender {
    for (int mode = 0; mode < 2; ++mode)
        for (int index = 0; index < 3; ++index)
            if (_buttons[mode][index] == sender) {
                const SelectionWidget id = (mode == 0 ? kWindowMode : kMonitorMode).buttons[size_t(index)];
                Link::Send(_link, [id](SelectionWindowInput& input) { input.Pressed(id); });
            }
}

// A double click on an entry presses the default button.
- (void)doubleClicked:(NSTableView*)sender {
    (void)sender;
    NSButton* ok = _buttons[_windowMode ? 0 : 1][2];
    if (ok.enabled) [ok performClick:nil];
}

- (BOOL)windowShouldClose:(NSWindow*)sender {
    (void)sender;
    Link::Send(_link, [](SelectionWindowInput& input) { input.ClosedByUser(); });
    return NO; // the core closes it
}

@end

namespace qcp::platform::mac {

MacSelectionWindow::MacSelectionWindow(SelectionWindowInput& input)
    : fLink(std::make_shared<Link>(input)), fController([[QCPSelectionController alloc] initWithLink:fLink]) {}

MacSelectionWindow::~MacSelectionWindow() {
    fLink->Cut();
    QCPSelectionController* controller = static_cast<QCPSelectionController*>(fController);
    dispatch_async(dispatch_get_main_queue(), ^{
      [controller close];
      [controller release];
    });
}

void MacSelectionWindow::Show(const SelectionWindowState& state) {
    QCPSelectionController* controller = static_cast<QCPSelectionController*>(fController);
    const SelectionWindowState shown = state; // blocks capture references as references
    dispatch_async(dispatch_get_main_queue(), ^{
      [controller show:shown];
    });
}

void MacSelectionWindow::Update(const SelectionWindowState& state) {
    QCPSelectionController* controller = static_cast<QCPSelectionController*>(fController);
    const SelectionWindowState shown = state;
    dispatch_async(dispatch_get_main_queue(), ^{
      [controller update:shown];
    });
}

void MacSelectionWindow::ShowAlertSheet(const std::string& message, const std::string& informativeText,
                                        const std::string& button) {
    QCPSelectionController* controller = static_cast<QCPSelectionController*>(fController);
    const std::string shownMessage = message, shownText = informativeText, shownButton = button;
    dispatch_async(dispatch_get_main_queue(), ^{
      [controller sheet:Text(shownMessage) informative:Text(shownText) button:Text(shownButton)];
    });
}

} // namespace qcp::platform::mac

// The Mac's menu-bar item: a variable-length NSStatusItem ("QuillmereStatusItem", so
// the system remembers its place) whose button shows the rendered label, and the
// Carbon hot key ⌥⌘T that toggles the quick look from anywhere. A Qt tray icon is
// square there and could not hold the two-line label.
#import <AppKit/AppKit.h>
#include <Carbon/Carbon.h>

#include <QImage>
#include <QMenu>
#include <vector>

#include "app/menubar/MenuBarRenderer.h"
#include "app/menubar/StatusItem.h"
#include "shell/MenuBarNotch.h"

namespace qm::app {
class NativeStatusItem;
}

@interface QMStatusTarget : NSObject
@property(nonatomic, assign) qm::app::NativeStatusItem* owner;
- (void)clicked:(id)sender;
@end

namespace qm::app {

namespace {

NSImage* nsImage(const QImage& image) {
    const QImage rgba = image.convertToFormat(QImage::Format_RGBA8888);
    CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
    // The image keeps its own copy of the pixels.
    CFDataRef bytes = CFDataCreate(nullptr, rgba.constBits(), static_cast<CFIndex>(rgba.sizeInBytes()));
    CGDataProviderRef provider = CGDataProviderCreateWithCFData(bytes);
    CFRelease(bytes);
    CGImageRef cg = CGImageCreate(static_cast<size_t>(rgba.width()), static_cast<size_t>(rgba.height()), 8, 32,
                                  static_cast<size_t>(rgba.bytesPerLine()), space,
                                  static_cast<CGBitmapInfo>(kCGImageAlphaPremultipliedLast), provider, nullptr, false,
                                  kCGRenderingIntentDefault);
    const qreal scale = image.devicePixelRatio();
    NSImage* result = [[NSImage alloc] initWithCGImage:cg size:NSMakeSize(rgba.width() / scale, rgba.height() / scale)];
    CGImageRelease(cg);
    CGDataProviderRelease(provider);
    CGColorSpaceRelease(space);
    return result;
}

ScreenBox box(NSRect rect) { return {rect.origin.x, rect.origin.y, rect.size.width, rect.size.height}; }

NativeStatusItem* hotKeyOwner = nullptr;

OSStatus hotKeyPressed(EventHandlerCallRef, EventRef, void*);

}  // namespace

class NativeStatusItem : public StatusItem {
public:
    NativeStatusItem() {
        target_ = [[QMStatusTarget alloc] init];
        target_.owner = this;
        registerHotKey();
    }
    ~NativeStatusItem() override {
        uninstall();
        if (hotKey_) UnregisterEventHotKey(hotKey_);
        if (hotKeyOwner == this) hotKeyOwner = nullptr;
    }

    bool hostAvailable() const override { return true; }
    void install() override {
        if (item_) return;
        item_ = [NSStatusBar.systemStatusBar statusItemWithLength:NSVariableStatusItemLength];
        item_.autosaveName = @"QuillmereStatusItem";
        item_.button.target = target_;
        item_.button.action = @selector(clicked:);
        [item_.button sendActionOn:NSEventMaskLeftMouseUp | NSEventMaskRightMouseUp];
    }
    void uninstall() override {
        if (!item_) return;
        [NSStatusBar.systemStatusBar removeStatusItem:item_];
        item_ = nil;
    }
    bool installed() const override { return item_ != nil; }
    void setLabel(const MenuBarLabel& label) override {
        if (!item_) return;
        image_ = MenuBarRenderer::image(label.lines, label.alert);
        NSImage* image = nsImage(image_);
        // A template image takes the menu bar's own colour; the alert form stays red.
        // (The setter, not `image.template`: `template` is a C++ keyword in Objective-C++.)
        [image setTemplate:!label.alert];
        item_.button.image = image;
        item_.button.toolTip = [NSString stringWithUTF8String:label.tooltip.c_str()];
    }
    void setMenu(QMenu* menu) override { menu_ = menu; }
    // Beside the camera housing, the menu bar has room only on either side of it; an
    // item the system could not fit there sits behind the housing, out of sight.
    bool hiddenByNotch() const override {
        if (!item_ || !item_.button.window) return false;
        std::vector<ScreenTop> screens;
        for (NSScreen* screen in NSScreen.screens) {
            if (@available(macOS 12.0, *))
                screens.push_back(
                    {box(screen.frame), box(screen.auxiliaryTopLeftArea), box(screen.auxiliaryTopRightArea)});
        }
        return itemHiddenByNotch(box(item_.button.window.frame), screens);
    }
    QRect geometry() const override {
        if (!item_) return {};
        NSWindow* window = item_.button.window;
        const NSRect frame = window.frame;
        NSScreen* primary = NSScreen.screens.firstObject;  // the menu bar's screen: global y is measured from it
        const CGFloat top = NSMaxY(primary.frame);
        return QRect(static_cast<int>(frame.origin.x), static_cast<int>(top - NSMaxY(frame)),
                     static_cast<int>(frame.size.width), static_cast<int>(frame.size.height));
    }

    // A right click, or a click with Control held, opens the menu; any other click toggles.
    void handleClick() {
        NSEvent* event = NSApp.currentEvent;
        const bool context =
            event.type == NSEventTypeRightMouseUp || (event.modifierFlags & NSEventModifierFlagControl);
        if (context && menu_) {
            emit menu_->aboutToShow();
            const QRect at = geometry();
            menu_->popup(QPoint(at.left(), at.bottom()));
            return;
        }
        emit clicked();
    }

private:
    void registerHotKey() {
        hotKeyOwner = this;
        EventTypeSpec spec{kEventClassKeyboard, kEventHotKeyPressed};
        InstallApplicationEventHandler(&hotKeyPressed, 1, &spec, nullptr, nullptr);
        // ⌥⌘T: key code 17 is T; the signature "QLMR" with id 1 names the key.
        const EventHotKeyID id{'QLMR', 1};
        RegisterEventHotKey(17, cmdKey | optionKey, id, GetApplicationEventTarget(), 0, &hotKey_);
    }

    NSStatusItem* item_ = nil;
    QMStatusTarget* target_ = nil;
    QMenu* menu_ = nullptr;
    QImage image_;
    EventHotKeyRef hotKey_ = nullptr;

    friend OSStatus hotKeyPressed(EventHandlerCallRef, EventRef, void*);
};

namespace {
OSStatus hotKeyPressed(EventHandlerCallRef, EventRef, void*) {
    if (hotKeyOwner) emit hotKeyOwner->clicked();
    return noErr;
}
}  // namespace

std::unique_ptr<StatusItem> makePlatformStatusItem() { return std::make_unique<NativeStatusItem>(); }

}  // namespace qm::app

@implementation QMStatusTarget
- (void)clicked:(id)sender {
    if (self.owner) self.owner->handleClick();
}
@end

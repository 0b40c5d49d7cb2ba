// What the Objective-C++ sources use from Apple's frameworks that GNUstep does not
// provide (ServiceManagement, UserNotifications, Security, Sparkle, Carbon hot keys,
// CoreGraphics, the parts of CoreFoundation and libdispatch that Apple's Foundation
// brings along) and the newer AppKit and Foundation members GNUstep lacks. Written
// from Apple's (and Sparkle's) documentation, with only the names the sources call:
// the check takes every line here on trust, so a wrong selector here hides a wrong
// selector in the source. Never part of a Mac build, where the real SDK declares all
// of it. Numeric values are the documented ones where the check could depend on them.
//
// Reached through the stand-in headers beside it (Foundation/Foundation.h,
// AppKit/AppKit.h, ServiceManagement/ServiceManagement.h and so on). The AppKit part is
// declared only once a source has imported AppKit.

#ifndef QM_APPLE_FOUNDATION_DECLARED
#define QM_APPLE_FOUNDATION_DECLARED

#include <stdint.h>

extern "C" {

// CoreFoundation (CFBase.h, CFArray.h, CFDictionary.h, CFData.h, CFURL.h, CFString.h).
typedef const void* CFTypeRef;
typedef unsigned long CFTypeID;
typedef long CFIndex;
typedef unsigned char Boolean;
typedef uint8_t UInt8;
typedef uint32_t UInt32;
typedef int32_t OSStatus;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFArray* CFArrayRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef const struct __CFData* CFDataRef;
typedef const struct __CFURL* CFURLRef;
extern const CFAllocatorRef kCFAllocatorDefault;
void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);
CFTypeID CFStringGetTypeID(void);
CFTypeID CFArrayGetTypeID(void);
CFIndex CFArrayGetCount(CFArrayRef array);
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer, CFIndex length,
                                                 Boolean isDirectory);
#define CFSTR(text) ((CFStringRef)__builtin___CFStringMakeConstantString("" text ""))

// libdispatch (dispatch/queue.h).
typedef struct dispatch_queue_s* dispatch_queue_t;
typedef void (^dispatch_block_t)(void);
dispatch_queue_t dispatch_get_main_queue(void);
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);

// Security (SecStaticCode.h, SecCode.h, SecRequirement.h, SecCertificate.h, SecBase.h).
typedef uint32_t SecCSFlags;
typedef const struct __SecCode* SecStaticCodeRef;
typedef struct __SecRequirement* SecRequirementRef;
typedef struct __SecCertificate* SecCertificateRef;
enum : OSStatus { errSecSuccess = 0 };
enum : SecCSFlags {
    kSecCSDefaultFlags = 0,
    kSecCSSigningInformation = 1 << 1,
    kSecCSDoNotValidateExecutable = 1 << 1,
    kSecCSDoNotValidateResources = 1 << 2,
};
extern const CFStringRef kSecCodeInfoIdentifier;
extern const CFStringRef kSecCodeInfoTeamIdentifier;
extern const CFStringRef kSecCodeInfoCertificates;
OSStatus SecStaticCodeCreateWithPath(CFURLRef path, SecCSFlags flags, SecStaticCodeRef* staticCode);
OSStatus SecCodeCopySigningInformation(SecStaticCodeRef code, SecCSFlags flags, CFDictionaryRef* information);
OSStatus SecRequirementCreateWithString(CFStringRef text, SecCSFlags flags, SecRequirementRef* requirement);
OSStatus SecStaticCodeCheckValidity(SecStaticCodeRef staticCode, SecCSFlags flags, SecRequirementRef requirement);
CFTypeID SecCertificateGetTypeID(void);
CFStringRef SecCertificateCopySubjectSummary(SecCertificateRef certificate);

// Carbon's hot keys (HIToolbox/CarbonEvents.h, Events.h).
typedef uint32_t OSType;
typedef uint32_t OptionBits;
typedef unsigned long ItemCount;
typedef struct OpaqueEventRef* EventRef;
typedef struct OpaqueEventHandlerCallRef* EventHandlerCallRef;
typedef struct OpaqueEventHandlerRef* EventHandlerRef;
typedef struct OpaqueEventTargetRef* EventTargetRef;
typedef struct OpaqueEventHotKeyRef* EventHotKeyRef;
typedef OSStatus (*EventHandlerProcPtr)(EventHandlerCallRef handler, EventRef event, void* userData);
typedef EventHandlerProcPtr EventHandlerUPP;
struct EventTypeSpec {
    OSType eventClass;
    UInt32 eventKind;
};
struct EventHotKeyID {
    OSType signature;
    UInt32 id;
};
enum : OSStatus { noErr = 0 };
enum : OSType { kEventClassKeyboard = 'keyb' };
enum : UInt32 { kEventHotKeyPressed = 5 };
enum : UInt32 { cmdKey = 1 << 8, optionKey = 1 << 11 };
EventTargetRef GetApplicationEventTarget(void);
OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP handler, ItemCount numTypes,
                             const EventTypeSpec* list, void* userData, EventHandlerRef* outRef);
#define InstallApplicationEventHandler(handler, numTypes, list, userData, outRef) \
    InstallEventHandler(GetApplicationEventTarget(), (handler), (numTypes), (list), (userData), (outRef))
OSStatus RegisterEventHotKey(UInt32 hotKeyCode, UInt32 hotKeyModifiers, EventHotKeyID hotKeyID, EventTargetRef target,
                             OptionBits options, EventHotKeyRef* outRef);
OSStatus UnregisterEventHotKey(EventHotKeyRef hotKey);

// Apple events (AERegistry.h): the quit event's reason and the reopen event.
typedef uint32_t AEEventClass;
typedef uint32_t AEEventID;
typedef uint32_t AEKeyword;
enum : AEEventClass { kCoreEventClass = 'aevt' };
enum : AEEventID { kAEQuitApplication = 'quit', kAEReopenApplication = 'rapp' };
enum : AEKeyword { kAEQuitReason = 'why?' };

}  // extern "C"

// Foundation members newer than GNUstep's.
@interface NSAppleEventDescriptor (AppleOnly)
- (NSAppleEventDescriptor*)attributeDescriptorForKeyword:(AEKeyword)keyword;
@property(readonly) AEEventClass eventClass;
@property(readonly) AEEventID eventID;
@property(readonly) OSType enumCodeValue;
@end

@interface NSAppleEventManager (AppleOnly)
+ (NSAppleEventManager*)sharedAppleEventManager;
@property(readonly) NSAppleEventDescriptor* currentAppleEvent;
- (void)setEventHandler:(id)handler
            andSelector:(SEL)handleEventSelector
          forEventClass:(AEEventClass)eventClass
             andEventID:(AEEventID)eventID;
@end

@interface NSXPCConnection (AppleOnly)
- (void)setExportedInterface:(NSXPCInterface*)exportedInterface;  // GNUstep misspells it
- (id)exportedObject;
- (void)setExportedObject:(id)exportedObject;
@end

@interface NSURL (AppleOnly)
@property(readonly) const char* fileSystemRepresentation;
@end

@interface NSFileManager (AppleOnly)
- (NSString*)stringWithFileSystemRepresentation:(const char*)string length:(NSUInteger)length;
@end

// ServiceManagement (SMAppService.h, macOS 13).
typedef NS_ENUM(NSInteger, SMAppServiceStatus) {
    SMAppServiceStatusNotRegistered = 0,
    SMAppServiceStatusEnabled = 1,
    SMAppServiceStatusRequiresApproval = 2,
    SMAppServiceStatusNotFound = 3,
};
@interface SMAppService : NSObject
@property(class, readonly) SMAppService* mainAppService;
+ (SMAppService*)daemonServiceWithPlistName:(NSString*)plistName;
- (BOOL)registerAndReturnError:(NSError**)error;
- (BOOL)unregisterAndReturnError:(NSError**)error;
@property(readonly) SMAppServiceStatus status;
+ (void)openSystemSettingsLoginItems;
@end

// UserNotifications (UNUserNotificationCenter.h, UNNotificationContent.h and friends).
typedef NS_OPTIONS(NSUInteger, UNAuthorizationOptions) {
    UNAuthorizationOptionBadge = 1 << 0,
    UNAuthorizationOptionSound = 1 << 1,
    UNAuthorizationOptionAlert = 1 << 2,
};
typedef NS_OPTIONS(NSUInteger, UNNotificationActionOptions) {
    UNNotificationActionOptionNone = 0,
    UNNotificationActionOptionAuthenticationRequired = 1 << 0,
    UNNotificationActionOptionDestructive = 1 << 1,
    UNNotificationActionOptionForeground = 1 << 2,
};
typedef NS_OPTIONS(NSUInteger, UNNotificationCategoryOptions) {
    UNNotificationCategoryOptionNone = 0,
};
typedef NS_OPTIONS(NSUInteger, UNNotificationPresentationOptions) {
    UNNotificationPresentationOptionSound = 1 << 1,
    UNNotificationPresentationOptionList = 1 << 3,
    UNNotificationPresentationOptionBanner = 1 << 4,
};
@interface UNNotificationSound : NSObject
@property(class, readonly, copy) UNNotificationSound* defaultSound;
@end
@interface UNNotificationContent : NSObject
@property(readonly, copy) NSString* title;
@property(readonly, copy) NSString* body;
@property(readonly, copy) NSString* categoryIdentifier;
@property(readonly, copy) NSDictionary* userInfo;
@property(readonly, copy) UNNotificationSound* sound;
@end
@interface UNMutableNotificationContent : UNNotificationContent
@property(copy) NSString* title;
@property(copy) NSString* body;
@property(copy) NSString* categoryIdentifier;
@property(copy) NSDictionary* userInfo;
@property(copy) UNNotificationSound* sound;
@end
@interface UNNotificationTrigger : NSObject
@end
@interface UNNotificationRequest : NSObject
+ (instancetype)requestWithIdentifier:(NSString*)identifier
                              content:(UNNotificationContent*)content
                              trigger:(UNNotificationTrigger*)trigger;
@property(readonly, copy) NSString* identifier;
@property(readonly, copy) UNNotificationContent* content;
@end
@interface UNNotification : NSObject
@property(readonly, copy) UNNotificationRequest* request;
@end
@interface UNNotificationResponse : NSObject
@property(readonly, copy) UNNotification* notification;
@property(readonly, copy) NSString* actionIdentifier;
@end
@interface UNNotificationAction : NSObject
+ (instancetype)actionWithIdentifier:(NSString*)identifier
                               title:(NSString*)title
                             options:(UNNotificationActionOptions)options;
@end
@interface UNNotificationCategory : NSObject
+ (instancetype)categoryWithIdentifier:(NSString*)identifier
                               actions:(NSArray*)actions
                     intentIdentifiers:(NSArray*)intentIdentifiers
                               options:(UNNotificationCategoryOptions)options;
@end
@class UNUserNotificationCenter;
@protocol UNUserNotificationCenterDelegate <NSObject>
@optional
- (void)userNotificationCenter:(UNUserNotificationCenter*)center
       willPresentNotification:(UNNotification*)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions options))completionHandler;
- (void)userNotificationCenter:(UNUserNotificationCenter*)center
    didReceiveNotificationResponse:(UNNotificationResponse*)response
             withCompletionHandler:(void (^)(void))completionHandler;
@end
@interface UNUserNotificationCenter : NSObject
+ (UNUserNotificationCenter*)currentNotificationCenter;
@property(weak) id<UNUserNotificationCenterDelegate> delegate;
- (void)requestAuthorizationWithOptions:(UNAuthorizationOptions)options
                      completionHandler:(void (^)(BOOL granted, NSError* error))completionHandler;
- (void)setNotificationCategories:(NSSet*)categories;
- (void)addNotificationRequest:(UNNotificationRequest*)request
         withCompletionHandler:(void (^)(NSError* error))completionHandler;
@end

// Sparkle 2 (SPUStandardUpdaterController.h, SPUUpdaterDelegate.h,
// SPUStandardUserDriverDelegate.h, SUAppcastItem.h, SPUUserUpdateState.h).
@interface SUAppcastItem : NSObject
@property(readonly, copy) NSString* displayVersionString;
@end
@interface SPUUserUpdateState : NSObject
@property(readonly) BOOL userInitiated;
@end
@protocol SPUUpdaterDelegate <NSObject>
@end
@protocol SPUStandardUserDriverDelegate <NSObject>
@optional
@property(readonly) BOOL supportsGentleScheduledUpdateReminders;
- (BOOL)standardUserDriverShouldHandleShowingScheduledUpdate:(SUAppcastItem*)update
                                         andInImmediateFocus:(BOOL)immediateFocus;
- (void)standardUserDriverWillHandleShowingUpdate:(BOOL)handleShowingUpdate
                                        forUpdate:(SUAppcastItem*)update
                                            state:(SPUUserUpdateState*)state;
- (void)standardUserDriverDidReceiveUserAttentionForUpdate:(SUAppcastItem*)update;
- (void)standardUserDriverWillFinishUpdateSession;
@end
@interface SPUStandardUpdaterController : NSObject
- (instancetype)initWithStartingUpdater:(BOOL)startUpdater
                        updaterDelegate:(id<SPUUpdaterDelegate>)updaterDelegate
                     userDriverDelegate:(id<SPUStandardUserDriverDelegate>)userDriverDelegate;
- (void)checkForUpdates:(id)sender;
@end

#endif  // QM_APPLE_FOUNDATION_DECLARED

#if defined(QM_CHECK_APPKIT) && !defined(QM_APPLE_APPKIT_DECLARED)
#define QM_APPLE_APPKIT_DECLARED

extern "C" {

// CoreGraphics, which Apple's AppKit brings along (CGImage.h, CGColorSpace.h,
// CGDataProvider.h).
typedef struct CGImage* CGImageRef;
typedef struct CGColorSpace* CGColorSpaceRef;
typedef struct CGDataProvider* CGDataProviderRef;
typedef uint32_t CGBitmapInfo;
typedef enum CGImageAlphaInfo : uint32_t { kCGImageAlphaPremultipliedLast = 1 } CGImageAlphaInfo;
enum : uint32_t { kCGBitmapByteOrderDefault = 0 };
typedef enum CGColorRenderingIntent : int32_t { kCGRenderingIntentDefault = 0 } CGColorRenderingIntent;
CGColorSpaceRef CGColorSpaceCreateDeviceRGB(void);
void CGColorSpaceRelease(CGColorSpaceRef space);
CGDataProviderRef CGDataProviderCreateWithCFData(CFDataRef data);
void CGDataProviderRelease(CGDataProviderRef provider);
CGImageRef CGImageCreate(size_t width, size_t height, size_t bitsPerComponent, size_t bitsPerPixel, size_t bytesPerRow,
                         CGColorSpaceRef space, CGBitmapInfo bitmapInfo, CGDataProviderRef provider,
                         const CGFloat* decode, bool shouldInterpolate, CGColorRenderingIntent intent);
void CGImageRelease(CGImageRef image);

}  // extern "C"

// AppKit members newer than GNUstep's.
typedef NS_OPTIONS(unsigned long long, QMEventMask) {
    NSEventMaskLeftMouseUp = 1ULL << 2,
    NSEventMaskRightMouseUp = 1ULL << 4,
};
enum : NSUInteger { NSEventTypeRightMouseUp = 4, NSEventTypeKeyDown = 10, NSEventTypeLeftMouseUp = 2 };
enum : NSUInteger { NSEventModifierFlagControl = 1 << 18 };

@interface NSApplication (AppleOnly)
@property(readonly) NSApplicationActivationPolicy activationPolicy;
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)activationPolicy;
@end

@interface NSStatusItem (AppleOnly)
@property(readonly, strong) NSButton* button;
@property(copy) NSString* autosaveName;
@end

@interface NSWorkspace (AppleOnly)
- (NSURL*)URLForApplicationWithBundleIdentifier:(NSString*)bundleIdentifier;
@end

@interface NSImage (AppleOnly)
- (instancetype)initWithCGImage:(CGImageRef)image size:(NSSize)size;
@property(getter=isTemplate) BOOL template_;  // Apple's property is named `template`
- (void)setTemplate:(BOOL)isTemplate;
@end

@interface NSScreen (AppleOnly)
@property(readonly) NSRect auxiliaryTopLeftArea;
@property(readonly) NSRect auxiliaryTopRightArea;
@end

#endif  // QM_CHECK_APPKIT

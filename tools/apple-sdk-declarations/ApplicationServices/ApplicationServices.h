// Declarations of the ApplicationServices (HIServices Accessibility, CoreGraphics geometry and
// Quartz event taps) functions, types and constants Tessiva Focus calls, copied by signature from
// Apple's public documentation (developer.apple.com/documentation/applicationservices,
// .../coregraphics). Only for the Linux compile check of src/platform/macos. Never linked.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

// CoreGraphics/CGBase.h, CGGeometry.h
typedef double CGFloat;
struct CGPoint {
    CGFloat x;
    CGFloat y;
};
typedef struct CGPoint CGPoint;
struct CGSize {
    CGFloat width;
    CGFloat height;
};
typedef struct CGSize CGSize;
struct CGRect {
    CGPoint origin;
    CGSize size;
};
typedef struct CGRect CGRect;

// HIServices/AXError.h
typedef SInt32 AXError;
enum {
    kAXErrorSuccess = 0,
    kAXErrorFailure = -25200,
    kAXErrorIllegalArgument = -25201,
    kAXErrorInvalidUIElement = -25202,
    kAXErrorInvalidUIElementObserver = -25203,
    kAXErrorCannotComplete = -25204,
    kAXErrorAttributeUnsupported = -25205,
    kAXErrorActionUnsupported = -25206,
    kAXErrorNotificationUnsupported = -25207,
    kAXErrorNotImplemented = -25208,
    kAXErrorNotificationAlreadyRegistered = -25209,
    kAXErrorNotificationNotRegistered = -25210,
    kAXErrorAPIDisabled = -25211,
    kAXErrorNoValue = -25212,
};

// HIServices/AXUIElement.h
typedef const struct __AXUIElement* AXUIElementRef;
typedef struct __AXObserver* AXObserverRef;
typedef void (*AXObserverCallback)(AXObserverRef observer, AXUIElementRef element,
                                   CFStringRef notification, void* refcon);
Boolean AXIsProcessTrusted(void);
CFTypeID AXUIElementGetTypeID(void);
AXUIElementRef AXUIElementCreateApplication(pid_t pid);
AXUIElementRef AXUIElementCreateSystemWide(void);
AXError AXUIElementCopyAttributeValue(AXUIElementRef element, CFStringRef attribute,
                                      CFTypeRef* value);
AXError AXUIElementIsAttributeSettable(AXUIElementRef element, CFStringRef attribute,
                                       Boolean* settable);
AXError AXUIElementSetAttributeValue(AXUIElementRef element, CFStringRef attribute,
                                     CFTypeRef value);
AXError AXUIElementCopyActionNames(AXUIElementRef element, CFArrayRef* names);
AXError AXUIElementPerformAction(AXUIElementRef element, CFStringRef action);
AXError AXUIElementSetMessagingTimeout(AXUIElementRef element, float timeoutInSeconds);
AXError AXObserverCreate(pid_t application, AXObserverCallback callback,
                         AXObserverRef* outObserver);
AXError AXObserverAddNotification(AXObserverRef observer, AXUIElementRef element,
                                  CFStringRef notification, void* refcon);
AXError AXObserverRemoveNotification(AXObserverRef observer, AXUIElementRef element,
                                     CFStringRef notification);
CFRunLoopSourceRef AXObserverGetRunLoopSource(AXObserverRef observer);

// HIServices/AXValue.h
typedef const struct __AXValue* AXValueRef;
typedef UInt32 AXValueType;
enum {
    kAXValueTypeIllegal = 0,
    kAXValueTypeCGPoint = 1,
    kAXValueTypeCGSize = 2,
    kAXValueTypeCGRect = 3,
    kAXValueTypeCFRange = 4,
    kAXValueTypeAXError = 5,
};
CFTypeID AXValueGetTypeID(void);
AXValueType AXValueGetType(AXValueRef value);
Boolean AXValueGetValue(AXValueRef value, AXValueType theType, void* valuePtr);

// CoreGraphics/CGEventTypes.h, CGEvent.h
typedef struct __CGEvent* CGEventRef;
typedef struct __CGEventTapProxy* CGEventTapProxy;
typedef uint64_t CGEventMask;
typedef uint64_t CGEventFlags;
typedef uint32_t CGEventType;
enum {
    kCGEventNull = 0,
    kCGEventLeftMouseDown = 1,
    kCGEventLeftMouseUp = 2,
    kCGEventRightMouseDown = 3,
    kCGEventKeyDown = 10,
    kCGEventTapDisabledByTimeout = 0xFFFFFFFE,
    kCGEventTapDisabledByUserInput = 0xFFFFFFFF,
};
typedef uint32_t CGEventTapLocation;
enum { kCGHIDEventTap = 0, kCGSessionEventTap = 1, kCGAnnotatedSessionEventTap = 2 };
typedef uint32_t CGEventTapPlacement;
enum { kCGHeadInsertEventTap = 0, kCGTailAppendEventTap = 1 };
typedef uint32_t CGEventTapOptions;
enum { kCGEventTapOptionDefault = 0, kCGEventTapOptionListenOnly = 1 };
typedef uint32_t CGEventField;
enum { kCGKeyboardEventKeycode = 9 };
#define CGEventMaskBit(eventType) ((CGEventMask)1 << (eventType))
typedef CGEventRef (*CGEventTapCallBack)(CGEventTapProxy proxy, CGEventType type, CGEventRef event,
                                         void* userInfo);
CFMachPortRef CGEventTapCreate(CGEventTapLocation tap, CGEventTapPlacement place,
                               CGEventTapOptions options, CGEventMask eventsOfInterest,
                               CGEventTapCallBack callback, void* userInfo);
void CGEventTapEnable(CFMachPortRef tap, bool enable);
CGPoint CGEventGetLocation(CGEventRef event);
CGEventFlags CGEventGetFlags(CGEventRef event);
int64_t CGEventGetIntegerValueField(CGEventRef event, CGEventField field);

#ifdef __cplusplus
}
#endif

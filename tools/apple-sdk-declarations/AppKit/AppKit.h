// Declarations of the AppKit classes, methods and constants Tessiva Focus calls, copied by
// signature from Apple's public documentation (developer.apple.com/documentation/appkit). Only
// for the Linux compile check of src/platform/macos. Never linked.
#pragma once

#include <ApplicationServices/ApplicationServices.h>
#import <Foundation/Foundation.h>

typedef CGPoint NSPoint;
typedef CGSize NSSize;
typedef CGRect NSRect;

// NSRunningApplication.h
@interface NSRunningApplication : NSObject
+ (NSArray<NSRunningApplication*>* _Nonnull)runningApplicationsWithBundleIdentifier:
    (NSString* _Nonnull)bundleIdentifier;
@property(readonly, getter=isTerminated) BOOL terminated;
@property(nullable, readonly, copy) NSString* bundleIdentifier;
@property(readonly) pid_t processIdentifier;
@property(nullable, readonly, copy) NSDate* launchDate;
@end

// NSWorkspace.h
@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* _Nonnull sharedWorkspace;
@property(readonly, strong) NSNotificationCenter* _Nonnull notificationCenter;
@property(nullable, readonly, strong) NSRunningApplication* frontmostApplication;
@end
extern NSNotificationName _Nonnull const NSWorkspaceDidWakeNotification;

// NSEvent.h
typedef unsigned long long NSEventMask;
typedef NSUInteger NSEventType;
enum { NSEventTypeLeftMouseDown = 1, NSEventTypeRightMouseDown = 3, NSEventTypeKeyDown = 10 };
static const NSEventMask NSEventMaskAny = ~0ULL;
typedef NSUInteger NSEventModifierFlags;
@interface NSEvent : NSObject
@property(readonly) NSEventType type;
@property(readonly) NSEventModifierFlags modifierFlags;
@property(readonly) unsigned short keyCode;
@property(class, readonly) NSPoint mouseLocation;
+ (nullable id)addGlobalMonitorForEventsMatchingMask:(NSEventMask)mask
                                             handler:(void (^_Nonnull)(NSEvent* _Nonnull))block;
+ (void)removeMonitor:(id _Nonnull)eventMonitor;
@end

// NSScreen.h
@interface NSScreen : NSObject
@property(class, readonly, copy) NSArray<NSScreen*>* _Nonnull screens;
@property(readonly) NSRect frame;
@end

// NSSound.h
@interface NSSound : NSObject
- (nullable instancetype)initWithContentsOfFile:(NSString* _Nonnull)path byReference:(BOOL)byRef;
- (BOOL)play;
- (BOOL)stop;
@end

// NSApplication.h
typedef NSInteger NSApplicationActivationPolicy;
enum { NSApplicationActivationPolicyRegular = 0, NSApplicationActivationPolicyAccessory = 1 };
@interface NSApplication : NSObject
@property(class, readonly, strong) NSApplication* _Nonnull sharedApplication;
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)activationPolicy;
- (nullable NSEvent*)nextEventMatchingMask:(NSEventMask)mask
                                 untilDate:(nullable NSDate*)expiration
                                    inMode:(NSRunLoopMode _Nonnull)mode
                                   dequeue:(BOOL)deqFlag;
- (void)sendEvent:(NSEvent* _Nonnull)event;
@end
extern NSApplication* _Nullable NSApp;
extern NSNotificationName _Nonnull const NSApplicationDidBecomeActiveNotification;

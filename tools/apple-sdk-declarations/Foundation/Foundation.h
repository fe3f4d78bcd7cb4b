// Declarations of the Foundation classes, methods and constants Tessiva Focus calls, copied by
// signature from Apple's public documentation (developer.apple.com/documentation/foundation).
// Only for the Linux compile check of src/platform/macos. Never linked.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

// objc/objc.h
typedef signed char BOOL;
#define nil nullptr
#define YES ((BOOL)1)
#define NO ((BOOL)0)
typedef long NSInteger;
typedef unsigned long NSUInteger;
typedef double NSTimeInterval;
typedef NSUInteger NSStringEncoding;
enum { NSUTF8StringEncoding = 4 };

// objc/NSObject.h
@protocol NSObject
@end

__attribute__((objc_root_class))
@interface NSObject<NSObject>
+ (instancetype)alloc;
+ (instancetype)new;
- (instancetype)init;
@end

// NSString.h
@interface NSString : NSObject
- (nullable instancetype)initWithBytes:(const void* _Nonnull)bytes
                                length:(NSUInteger)len
                              encoding:(NSStringEncoding)encoding;
@property(nullable, readonly) const char* UTF8String;
@end

// NSArray.h
@interface NSArray<__covariant ObjectType> : NSObject
@property(readonly) NSUInteger count;
- (ObjectType _Nonnull)objectAtIndex:(NSUInteger)index;
@property(nullable, nonatomic, readonly) ObjectType firstObject;
@end

// NSDate.h
@interface NSDate : NSObject
@property(readonly) NSTimeInterval timeIntervalSinceReferenceDate;
@end

// NSNotification.h
typedef NSString* NSNotificationName;
@interface NSNotification : NSObject
@property(readonly, copy) NSNotificationName _Nonnull name;
@end

@interface NSOperationQueue : NSObject
@property(class, readonly, strong) NSOperationQueue* _Nonnull mainQueue;
@end

@interface NSNotificationCenter : NSObject
@property(class, readonly, strong) NSNotificationCenter* _Nonnull defaultCenter;
- (id<NSObject> _Nonnull)addObserverForName:(nullable NSNotificationName)name
                                     object:(nullable id)obj
                                      queue:(nullable NSOperationQueue*)queue
                                 usingBlock:(void (^_Nonnull)(NSNotification* _Nonnull))block;
- (void)removeObserver:(id _Nonnull)observer;
@end

// NSBundle.h
@interface NSBundle : NSObject
@property(class, readonly, strong) NSBundle* _Nonnull mainBundle;
- (nullable NSString*)pathForResource:(nullable NSString*)name ofType:(nullable NSString*)ext;
@end

// NSRunLoop.h
typedef NSString* NSRunLoopMode;
extern NSRunLoopMode _Nonnull const NSDefaultRunLoopMode;

// NSAutoreleasePool / @autoreleasepool needs nothing more.

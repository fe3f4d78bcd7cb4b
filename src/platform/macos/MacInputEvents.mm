#include "platform/macos/MacInputEvents.h"

#import <AppKit/AppKit.h>
#include <ApplicationServices/ApplicationServices.h>

#include "platform/macos/CFHandles.h"
#include "platform/macos/MacRunLoopThread.h"
#include "platform/macos/portable/AXValueConversion.h"
#include "runtime/Clock.h"
#include "runtime/Queue.h"

namespace tessiva {

namespace {

// AppKit's device-independent modifier bits are the ones InputModifier names.
constexpr std::uint64_t kDeviceIndependentModifierMask = 0xFFFF0000ULL;

struct TapDelivery {
    const Clock& clock;
    Queue& queue;
    InputEventHandler handler;
    CFMachPortRef tap = nullptr;
};

CGEventRef tapCallback(CGEventTapProxy, CGEventType type, CGEventRef event, void* userInfo) {
    auto* delivery = static_cast<TapDelivery*>(userInfo);
    // The system switches a slow or interrupted tap off; switch it back on.
    if (type == kCGEventTapDisabledByTimeout || type == kCGEventTapDisabledByUserInput) {
        if (delivery->tap != nullptr)
            CGEventTapEnable(delivery->tap, true);
        return event;
    }
    if (type != kCGEventLeftMouseDown && type != kCGEventRightMouseDown)
        return event;
    InputEvent input;
    input.type = type == kCGEventLeftMouseDown ? InputEventType::leftMouseDown
                                               : InputEventType::rightMouseDown;
    input.modifiers =
        static_cast<std::uint32_t>(CGEventGetFlags(event) & kDeviceIndependentModifierMask);
    const CGPoint location = CGEventGetLocation(event);
    input.location = {location.x, location.y};
    input.timestamp = delivery->clock.now();
    delivery->queue.post([handler = delivery->handler, input] { handler(input); });
    return event;
}

class TapSubscription final : public InputEventSubscription {
  public:
    TapSubscription(std::unique_ptr<TapDelivery> delivery, macos::MacRunLoopThread& loop)
        : delivery_(std::move(delivery)), loop_(loop) {
        source_ = macos::CFOwned<CFRunLoopSourceRef>(
            CFMachPortCreateRunLoopSource(kCFAllocatorDefault, delivery_->tap, 0));
        loop_.runSync([this] {
            CFRunLoopAddSource(static_cast<CFRunLoopRef>(loop_.runLoop()), source_.get(),
                               kCFRunLoopDefaultMode);
        });
        CGEventTapEnable(delivery_->tap, true);
    }

    ~TapSubscription() override {
        loop_.runSync([this] {
            CGEventTapEnable(delivery_->tap, false);
            CFRunLoopRemoveSource(static_cast<CFRunLoopRef>(loop_.runLoop()), source_.get(),
                                  kCFRunLoopDefaultMode);
            CFMachPortInvalidate(delivery_->tap);
        });
        source_.reset();
        CFRelease(delivery_->tap);
    }

  private:
    std::unique_ptr<TapDelivery> delivery_;
    macos::MacRunLoopThread& loop_;
    macos::CFOwned<CFRunLoopSourceRef> source_;
};

class MonitorSubscription final : public InputEventSubscription {
  public:
    explicit MonitorSubscription(id monitor) : monitor_(monitor) {}
    ~MonitorSubscription() override {
        if (monitor_ != nil)
            [NSEvent removeMonitor:monitor_];
    }

  private:
    id monitor_;
};

InputEvent inputEventFrom(NSEvent* event, double timestamp) {
    InputEvent input;
    input.type = static_cast<InputEventType>(event.type);
    input.modifiers = static_cast<std::uint32_t>(static_cast<std::uint64_t>(event.modifierFlags) &
                                                 kDeviceIndependentModifierMask);
    if (event.type == NSEventTypeKeyDown)
        input.keyCode = event.keyCode;
    NSArray<NSScreen*>* screens = [NSScreen screens];
    const double primaryHeight =
        screens.count > 0 ? [screens objectAtIndex:0].frame.size.height : 0;
    const NSPoint location = [NSEvent mouseLocation];
    input.location = topLeftFromBottomLeft({location.x, location.y}, primaryHeight);
    input.timestamp = timestamp;
    return input;
}

class MacInputEvents final : public InputEventPort {
  public:
    explicit MacInputEvents(const Clock& clock)
        : clock_(clock), tapLoop_("tessiva.macos.event-tap") {}

    std::unique_ptr<InputEventSubscription> createPreDispatchMouseTap(
        Queue& deliveryQueue, InputEventHandler handler) override {
        auto delivery = std::unique_ptr<TapDelivery>(
            new TapDelivery{clock_, deliveryQueue, std::move(handler)});
        const CGEventMask mask =
            CGEventMaskBit(kCGEventLeftMouseDown) | CGEventMaskBit(kCGEventRightMouseDown);
        delivery->tap =
            CGEventTapCreate(kCGSessionEventTap, kCGHeadInsertEventTap, kCGEventTapOptionListenOnly,
                             mask, &tapCallback, delivery.get());
        // Without the permission the system refuses the tap; the caller falls back to the monitor.
        if (delivery->tap == nullptr)
            return nullptr;
        return std::make_unique<TapSubscription>(std::move(delivery), tapLoop_);
    }

    std::unique_ptr<InputEventSubscription> addGlobalMonitor(InputEventMask mask,
                                                             Queue& deliveryQueue,
                                                             InputEventHandler handler) override {
        const Clock* clock = &clock_;
        Queue* queue = &deliveryQueue;
        id monitor = [NSEvent
            addGlobalMonitorForEventsMatchingMask:static_cast<NSEventMask>(mask)
                                          handler:^(NSEvent* event) {
                                            const InputEvent input =
                                                inputEventFrom(event, clock->now());
                                            queue->post([handler, input] { handler(input); });
                                          }];
        if (monitor == nil)
            return nullptr;
        return std::make_unique<MonitorSubscription>(monitor);
    }

  private:
    const Clock& clock_;
    macos::MacRunLoopThread tapLoop_;
};

}  // namespace

std::unique_ptr<InputEventPort> makeMacInputEvents(const Clock& clock) {
    return std::make_unique<MacInputEvents>(clock);
}

}  // namespace tessiva

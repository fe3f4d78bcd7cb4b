#include "platform/macos/MacAccessibility.h"

#import <AppKit/AppKit.h>
#include <ApplicationServices/ApplicationServices.h>

#include <algorithm>
#include <atomic>
#include <vector>

#include "platform/macos/CFHandles.h"
#include "platform/macos/CFTypeView.h"
#include "platform/macos/MacRunLoopThread.h"
#include "platform/macos/portable/AXValueConversion.h"
#include "runtime/Queue.h"

namespace tessiva {

namespace {

using macos::CFOwned;
using macos::cfString;

AXUIElementRef elementRef(const AXElement& element) {
    return static_cast<AXUIElementRef>(const_cast<void*>(element.ref()));
}

AXError systemError(::AXError code) {
    return axErrorFromSystemCode(static_cast<int>(code));
}

// The value to hand AXUIElementSetAttributeValue, or null for a shape Logic is never sent.
CFOwned<CFTypeRef> cfValueForWrite(const tessiva::AXValue& value) {
    switch (cfWriteShape(value)) {
        case CFWriteShape::boolean:
            return CFOwned<CFTypeRef>(
                CFRetain(std::get<bool>(value) ? kCFBooleanTrue : kCFBooleanFalse));
        case CFWriteShape::string:
            return CFOwned<CFTypeRef>(cfString(std::get<std::string>(value)).release());
        case CFWriteShape::integer: {
            const SInt64 number = std::get<std::int64_t>(value);
            return CFOwned<CFTypeRef>(
                CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &number));
        }
        case CFWriteShape::real: {
            const double number = std::get<double>(value);
            return CFOwned<CFTypeRef>(
                CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &number));
        }
        case CFWriteShape::elementArray: {
            const auto& elements = std::get<std::vector<AXElement>>(value);
            std::vector<const void*> refs;
            refs.reserve(elements.size());
            for (const auto& element : elements)
                refs.push_back(element.ref());
            return CFOwned<CFTypeRef>(CFArrayCreate(kCFAllocatorDefault, refs.data(),
                                                    static_cast<CFIndex>(refs.size()),
                                                    &kCFTypeArrayCallBacks));
        }
        case CFWriteShape::element:
            return CFOwned<CFTypeRef>(CFRetain(std::get<AXElement>(value).ref()));
        case CFWriteShape::unsupported:
            break;
    }
    return {};
}

// What the system's callback needs: the queue to post to and the handler, alive until the
// observer is destroyed.
struct ObserverDelivery {
    Queue& queue;
    AXNotificationHandler handler;
    std::atomic<bool> alive{true};

    ObserverDelivery(Queue& deliveryQueue, AXNotificationHandler onNotification)
        : queue(deliveryQueue), handler(std::move(onNotification)) {}
};

void observerCallback(AXObserverRef, AXUIElementRef element, CFStringRef notification,
                      void* refcon) {
    // The refcon is the delivery's shared owner, copied so a post outlives the observer.
    auto delivery = *static_cast<std::shared_ptr<ObserverDelivery>*>(refcon);
    AXElement sender = macos::retainedElement(element);
    std::string name = macos::utf8(notification).value_or(std::string());
    delivery->queue.post([delivery, sender = std::move(sender), name = std::move(name)] {
        if (delivery->alive.load())
            delivery->handler(sender, name);
    });
}

class MacAXObserver final : public tessiva::AXObserver {
  public:
    MacAXObserver(AXObserverRef observer, std::shared_ptr<ObserverDelivery> delivery,
                  macos::MacRunLoopThread& loop)
        : observer_(observer),
          delivery_(std::make_unique<std::shared_ptr<ObserverDelivery>>(std::move(delivery))),
          loop_(loop) {
        attachSource();
    }

    ~MacAXObserver() override {
        (*delivery_)->alive.store(false);
        loop_.runSync([this] {
            if (!suspended_)
                CFRunLoopRemoveSource(static_cast<CFRunLoopRef>(loop_.runLoop()),
                                      AXObserverGetRunLoopSource(observer_.get()),
                                      kCFRunLoopDefaultMode);
        });
    }

    AXError addNotification(const AXElement& element, std::string_view notification) override {
        auto name = cfString(notification);
        return systemError(AXObserverAddNotification(observer_.get(), elementRef(element),
                                                     name.get(), delivery_.get()));
    }

    AXError removeNotification(const AXElement& element, std::string_view notification) override {
        auto name = cfString(notification);
        return systemError(
            AXObserverRemoveNotification(observer_.get(), elementRef(element), name.get()));
    }

    void suspendDelivery() override {
        loop_.runSync([this] {
            if (suspended_)
                return;
            CFRunLoopRemoveSource(static_cast<CFRunLoopRef>(loop_.runLoop()),
                                  AXObserverGetRunLoopSource(observer_.get()),
                                  kCFRunLoopDefaultMode);
            suspended_ = true;
        });
    }

    void resumeDelivery() override {
        if (suspended_)
            attachSource();
    }

    bool isDeliverySuspended() const override { return suspended_; }

  private:
    void attachSource() {
        loop_.runSync([this] {
            CFRunLoopAddSource(static_cast<CFRunLoopRef>(loop_.runLoop()),
                               AXObserverGetRunLoopSource(observer_.get()), kCFRunLoopDefaultMode);
            suspended_ = false;
        });
    }

    CFOwned<AXObserverRef> observer_;
    // Heap-held so the system's refcon pointer stays valid for the observer's whole life.
    std::unique_ptr<std::shared_ptr<ObserverDelivery>> delivery_;
    macos::MacRunLoopThread& loop_;
    std::atomic<bool> suspended_{true};
};

class MacAccessibility final : public AccessibilityPort {
  public:
    explicit MacAccessibility(double messagingTimeoutSeconds)
        : timeout_(static_cast<float>(messagingTimeoutSeconds)),
          observerLoop_("tessiva.macos.ax-observers") {
        CFOwned<AXUIElementRef> systemWide(AXUIElementCreateSystemWide());
        AXUIElementSetMessagingTimeout(systemWide.get(), timeout_);
    }

    bool isProcessTrusted() const override { return AXIsProcessTrusted(); }

    std::vector<ProcessId> runningApplications(std::string_view bundleIdentifier) const override {
        @autoreleasepool {
            NSString* identifier = [[NSString alloc] initWithBytes:bundleIdentifier.data()
                                                            length:bundleIdentifier.size()
                                                          encoding:NSUTF8StringEncoding];
            NSArray<NSRunningApplication*>* running =
                [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier];
            struct Launched {
                ProcessId pid;
                double launchedAt;
            };
            std::vector<Launched> launched;
            for (NSUInteger index = 0; index < running.count; ++index) {
                NSRunningApplication* application = [running objectAtIndex:index];
                if (application.terminated)
                    continue;
                NSDate* date = application.launchDate;
                launched.push_back({application.processIdentifier,
                                    date != nil ? date.timeIntervalSinceReferenceDate : 0.0});
            }
            std::stable_sort(
                launched.begin(), launched.end(),
                [](const Launched& a, const Launched& b) { return a.launchedAt < b.launchedAt; });
            std::vector<ProcessId> pids;
            for (const auto& entry : launched)
                pids.push_back(entry.pid);
            return pids;
        }
    }

    std::optional<std::string> frontmostApplicationBundleIdentifier() const override {
        @autoreleasepool {
            NSRunningApplication* frontmost = [NSWorkspace sharedWorkspace].frontmostApplication;
            NSString* identifier = frontmost.bundleIdentifier;
            if (identifier == nil)
                return std::nullopt;
            return std::string(identifier.UTF8String);
        }
    }

    AXElement applicationElement(ProcessId pid) override {
        CFOwned<AXUIElementRef> application(AXUIElementCreateApplication(pid));
        if (!application)
            return {};
        AXUIElementSetMessagingTimeout(application.get(), timeout_);
        return macos::retainedElement(application.get());
    }

    AXResult<tessiva::AXValue> copyAttributeValue(const AXElement& element,
                                                  std::string_view attribute) override {
        if (!element)
            return {AXError::invalidUIElement, {}};
        auto name = cfString(attribute);
        CFOwned<CFTypeRef> value;
        const AXError error = systemError(
            AXUIElementCopyAttributeValue(elementRef(element), name.get(), value.out()));
        if (error != AXError::success)
            return {error, {}};
        return {AXError::success, axValueFromCF(macos::CFTypeView(value.get()))};
    }

    AXResult<bool> isAttributeSettable(const AXElement& element,
                                       std::string_view attribute) override {
        if (!element)
            return {AXError::invalidUIElement, false};
        auto name = cfString(attribute);
        Boolean settable = false;
        const AXError error =
            systemError(AXUIElementIsAttributeSettable(elementRef(element), name.get(), &settable));
        return {error, error == AXError::success && settable};
    }

    AXError setAttributeValue(const AXElement& element, std::string_view attribute,
                              const tessiva::AXValue& value) override {
        if (!element)
            return AXError::invalidUIElement;
        auto written = cfValueForWrite(value);
        if (!written)
            return AXError::illegalArgument;
        auto name = cfString(attribute);
        return systemError(
            AXUIElementSetAttributeValue(elementRef(element), name.get(), written.get()));
    }

    AXResult<std::vector<std::string>> copyActionNames(const AXElement& element) override {
        if (!element)
            return {AXError::invalidUIElement, {}};
        CFOwned<CFArrayRef> names;
        const AXError error =
            systemError(AXUIElementCopyActionNames(elementRef(element), names.out()));
        if (error != AXError::success)
            return {error, {}};
        std::vector<std::string> actions;
        const CFIndex count = names ? CFArrayGetCount(names.get()) : 0;
        for (CFIndex index = 0; index < count; ++index) {
            const auto action =
                static_cast<CFStringRef>(CFArrayGetValueAtIndex(names.get(), index));
            if (auto text = macos::utf8(action))
                actions.push_back(*std::move(text));
        }
        return {AXError::success, std::move(actions)};
    }

    AXError performAction(const AXElement& element, std::string_view action) override {
        if (!element)
            return AXError::invalidUIElement;
        auto name = cfString(action);
        return systemError(AXUIElementPerformAction(elementRef(element), name.get()));
    }

    AXResult<std::unique_ptr<tessiva::AXObserver>> createObserver(
        ProcessId pid, Queue& deliveryQueue, AXNotificationHandler handler) override {
        AXObserverRef observer = nullptr;
        const AXError error = systemError(AXObserverCreate(pid, &observerCallback, &observer));
        if (error != AXError::success)
            return {error, nullptr};
        auto delivery = std::make_shared<ObserverDelivery>(deliveryQueue, std::move(handler));
        return {AXError::success,
                std::make_unique<MacAXObserver>(observer, std::move(delivery), observerLoop_)};
    }

  private:
    float timeout_;
    macos::MacRunLoopThread observerLoop_;
};

}  // namespace

std::unique_ptr<AccessibilityPort> makeMacAccessibility(double messagingTimeoutSeconds) {
    return std::make_unique<MacAccessibility>(messagingTimeoutSeconds);
}

}  // namespace tessiva

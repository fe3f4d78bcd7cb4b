#include "platform/macos/CFTypeView.h"

#include <ApplicationServices/ApplicationServices.h>

#include "platform/macos/CFHandles.h"

namespace tessiva::macos {

AXElement retainedElement(CFTypeRef element) {
    if (element == nullptr)
        return {};
    CFRetain(element);
    std::shared_ptr<const void> ref(element, [](const void* held) { CFRelease(held); });
    return AXElement(std::move(ref), static_cast<std::uint64_t>(CFHash(element)));
}

CFValueKind CFTypeView::kind() const {
    if (value_ == nullptr)
        return CFValueKind::null;
    const CFTypeID type = CFGetTypeID(value_);
    if (type == CFStringGetTypeID())
        return CFValueKind::string;
    if (type == CFBooleanGetTypeID())
        return CFValueKind::boolean;
    if (type == CFNumberGetTypeID())
        return CFValueKind::number;
    if (type == AXUIElementGetTypeID())
        return CFValueKind::element;
    if (type == CFArrayGetTypeID())
        return CFValueKind::array;
    if (type == AXValueGetTypeID()) {
        switch (AXValueGetType(static_cast<AXValueRef>(value_))) {
            case kAXValueTypeCGPoint:
                return CFValueKind::axValuePoint;
            case kAXValueTypeCGSize:
                return CFValueKind::axValueSize;
            case kAXValueTypeCGRect:
                return CFValueKind::axValueRect;
            default:
                return CFValueKind::other;
        }
    }
    return CFValueKind::other;
}

std::optional<std::string> CFTypeView::string() const {
    return utf8(static_cast<CFStringRef>(value_));
}

bool CFTypeView::boolean() const {
    return CFBooleanGetValue(static_cast<CFBooleanRef>(value_));
}

bool CFTypeView::numberIsFloat() const {
    return CFNumberIsFloatType(static_cast<CFNumberRef>(value_));
}

std::int64_t CFTypeView::integer() const {
    SInt64 number = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(value_), kCFNumberSInt64Type, &number);
    return number;
}

double CFTypeView::real() const {
    double number = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(value_), kCFNumberDoubleType, &number);
    return number;
}

AXElement CFTypeView::element() const {
    return retainedElement(value_);
}

std::size_t CFTypeView::count() const {
    const CFIndex count = CFArrayGetCount(static_cast<CFArrayRef>(value_));
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

std::unique_ptr<CFValueView> CFTypeView::item(std::size_t index) const {
    return std::make_unique<CFTypeView>(
        CFArrayGetValueAtIndex(static_cast<CFArrayRef>(value_), static_cast<CFIndex>(index)));
}

AXFrame CFTypeView::geometry() const {
    const auto value = static_cast<AXValueRef>(value_);
    AXFrame frame;
    switch (AXValueGetType(value)) {
        case kAXValueTypeCGPoint: {
            CGPoint point{};
            if (AXValueGetValue(value, kAXValueTypeCGPoint, &point))
                frame.origin = {point.x, point.y};
            break;
        }
        case kAXValueTypeCGSize: {
            CGSize size{};
            if (AXValueGetValue(value, kAXValueTypeCGSize, &size))
                frame.size = {size.width, size.height};
            break;
        }
        case kAXValueTypeCGRect: {
            CGRect rect{};
            if (AXValueGetValue(value, kAXValueTypeCGRect, &rect))
                frame = {{rect.origin.x, rect.origin.y}, {rect.size.width, rect.size.height}};
            break;
        }
        default:
            break;
    }
    return frame;
}

}  // namespace tessiva::macos

#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include "platform/macos/portable/CFValueView.h"

namespace tessiva::macos {

// Answers the conversion's questions about one borrowed CFTypeRef (an attribute value, a
// preference, an array item). Borrowed: the owner of the reference keeps it alive while the view
// is used; `element()` retains what it hands out.
class CFTypeView final : public CFValueView {
  public:
    explicit CFTypeView(CFTypeRef value) : value_(value) {}

    CFValueKind kind() const override;
    std::optional<std::string> string() const override;
    bool boolean() const override;
    bool numberIsFloat() const override;
    std::int64_t integer() const override;
    double real() const override;
    AXElement element() const override;
    std::size_t count() const override;
    std::unique_ptr<CFValueView> item(std::size_t index) const override;
    AXFrame geometry() const override;

  private:
    CFTypeRef value_;
};

// A retained handle on an AXUIElementRef; its identity is the element's CFHash, which equal
// elements share.
AXElement retainedElement(CFTypeRef element);

}  // namespace tessiva::macos

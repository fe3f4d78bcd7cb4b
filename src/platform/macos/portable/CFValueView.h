#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/ax/AXElement.h"
#include "platform/ax/AXValue.h"

namespace tessiva {

// The shapes of Core Foundation value that Logic's Accessibility tree hands us. `axValue*` are
// the AXValueRef wrappers of CGPoint, CGSize and CGRect; `number` covers CFNumber of any type.
enum class CFValueKind {
    null,
    string,
    boolean,
    number,
    element,
    array,
    axValuePoint,
    axValueSize,
    axValueRect,
    other,
};

// One Core Foundation value seen through the few questions the conversion asks of it. On macOS
// a thin wrapper over a CFTypeRef answers them; tests answer them from plain values, so the
// conversion rules are checked on every platform. Only the accessors that match `kind()` are
// asked.
class CFValueView {
  public:
    virtual ~CFValueView() = default;

    virtual CFValueKind kind() const = 0;
    // UTF-8 of a CFString; nullopt when the string cannot be expressed in UTF-8.
    virtual std::optional<std::string> string() const = 0;
    virtual bool boolean() const = 0;
    virtual bool numberIsFloat() const = 0;
    virtual std::int64_t integer() const = 0;
    virtual double real() const = 0;
    // An AXUIElementRef as a handle that keeps it retained.
    virtual AXElement element() const = 0;
    virtual std::size_t count() const = 0;
    virtual std::unique_ptr<CFValueView> item(std::size_t index) const = 0;
    virtual AXFrame geometry() const = 0;
};

}  // namespace tessiva

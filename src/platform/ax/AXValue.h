#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/ax/AXElement.h"

namespace tessiva {

struct AXPoint {
    double x = 0;
    double y = 0;
    bool operator==(const AXPoint&) const = default;
};

struct AXSize {
    double width = 0;
    double height = 0;
    bool operator==(const AXSize&) const = default;
};

struct AXFrame {
    AXPoint origin;
    AXSize size;
    bool operator==(const AXFrame&) const = default;

    bool contains(AXPoint point) const {
        return point.x >= origin.x && point.y >= origin.y && point.x < origin.x + size.width &&
               point.y < origin.y + size.height;
    }
};

// The value of one attribute: the few shapes Logic's tree uses. `std::monostate` is "absent".
using AXValue = std::variant<std::monostate, std::string, bool, std::int64_t, double, AXElement,
                             std::vector<AXElement>, AXPoint, AXSize, AXFrame>;

inline bool axIsAbsent(const AXValue& value) {
    return std::holds_alternative<std::monostate>(value);
}

inline std::optional<std::string> axString(const AXValue& value) {
    if (const auto* text = std::get_if<std::string>(&value))
        return *text;
    return std::nullopt;
}

inline std::optional<bool> axBool(const AXValue& value) {
    if (const auto* flag = std::get_if<bool>(&value))
        return *flag;
    if (const auto* number = std::get_if<std::int64_t>(&value))
        return *number != 0;
    return std::nullopt;
}

inline std::optional<double> axNumber(const AXValue& value) {
    if (const auto* real = std::get_if<double>(&value))
        return *real;
    if (const auto* number = std::get_if<std::int64_t>(&value))
        return static_cast<double>(*number);
    return std::nullopt;
}

inline AXElement axElement(const AXValue& value) {
    if (const auto* element = std::get_if<AXElement>(&value))
        return *element;
    return {};
}

inline std::vector<AXElement> axElements(const AXValue& value) {
    if (const auto* elements = std::get_if<std::vector<AXElement>>(&value))
        return *elements;
    return {};
}

}  // namespace tessiva

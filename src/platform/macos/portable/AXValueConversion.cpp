#include "platform/macos/portable/AXValueConversion.h"

#include <vector>

namespace tessiva {

AXValue axValueFromCF(const CFValueView& value) {
    switch (value.kind()) {
        case CFValueKind::null:
        case CFValueKind::other:
            return std::monostate{};
        case CFValueKind::string: {
            if (auto text = value.string())
                return *std::move(text);
            return std::monostate{};
        }
        case CFValueKind::boolean:
            return value.boolean();
        case CFValueKind::number:
            if (value.numberIsFloat())
                return value.real();
            return value.integer();
        case CFValueKind::element: {
            AXElement element = value.element();
            if (!element)
                return std::monostate{};
            return element;
        }
        case CFValueKind::array: {
            std::vector<AXElement> elements;
            const std::size_t count = value.count();
            elements.reserve(count);
            for (std::size_t index = 0; index < count; ++index) {
                auto item = value.item(index);
                if (!item || item->kind() != CFValueKind::element)
                    return std::monostate{};
                AXElement element = item->element();
                if (!element)
                    return std::monostate{};
                elements.push_back(std::move(element));
            }
            return elements;
        }
        case CFValueKind::axValuePoint:
            return value.geometry().origin;
        case CFValueKind::axValueSize:
            return value.geometry().size;
        case CFValueKind::axValueRect:
            return value.geometry();
    }
    return std::monostate{};
}

AXError axErrorFromSystemCode(int code) {
    for (std::size_t index = 0; index < kAXErrorCodes.size(); ++index) {
        if (kAXErrorCodes[index] == code)
            return static_cast<AXError>(index);
    }
    return AXError::failure;
}

CFWriteShape cfWriteShape(const AXValue& value) {
    if (std::holds_alternative<bool>(value))
        return CFWriteShape::boolean;
    if (std::holds_alternative<std::string>(value))
        return CFWriteShape::string;
    if (std::holds_alternative<std::int64_t>(value))
        return CFWriteShape::integer;
    if (std::holds_alternative<double>(value))
        return CFWriteShape::real;
    if (std::holds_alternative<std::vector<AXElement>>(value))
        return CFWriteShape::elementArray;
    if (const auto* element = std::get_if<AXElement>(&value))
        return *element ? CFWriteShape::element : CFWriteShape::unsupported;
    return CFWriteShape::unsupported;
}

AXPoint topLeftFromBottomLeft(AXPoint point, double primaryScreenHeight) {
    return {point.x, primaryScreenHeight - point.y};
}

}  // namespace tessiva

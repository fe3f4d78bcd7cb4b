#include "platform/macos/portable/PreferenceValueConversion.h"

#include <string>
#include <vector>

namespace tessiva {

std::optional<UserDefaults::Value> preferenceValueFromCF(const CFValueView& value) {
    switch (value.kind()) {
        case CFValueKind::boolean:
            return value.boolean();
        case CFValueKind::number:
            if (value.numberIsFloat())
                return std::nullopt;
            return value.integer();
        case CFValueKind::string:
            if (auto text = value.string())
                return *std::move(text);
            return std::nullopt;
        case CFValueKind::array: {
            std::vector<std::string> list;
            const std::size_t count = value.count();
            for (std::size_t index = 0; index < count; ++index) {
                auto item = value.item(index);
                if (!item || item->kind() != CFValueKind::string)
                    return std::nullopt;
                auto text = item->string();
                if (!text)
                    return std::nullopt;
                list.push_back(*std::move(text));
            }
            return list;
        }
        default:
            return std::nullopt;
    }
}

}  // namespace tessiva

#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace tessiva {

// Which legacy MIDI message a row sends. The raw names are the profile file's values.
enum class MappingEventType { programChange, note };

inline constexpr std::size_t kMappingEventTypeCount = 2;
inline constexpr std::array<std::string_view, kMappingEventTypeCount> kMappingEventTypeNames{
    "programChange", "note"};
static_assert(kMappingEventTypeNames.size() == static_cast<std::size_t>(MappingEventType::note) + 1,
              "one raw name per MappingEventType");

inline std::string_view rawValue(MappingEventType type) {
    return kMappingEventTypeNames[static_cast<std::size_t>(type)];
}

inline std::optional<MappingEventType> mappingEventTypeFromRaw(std::string_view raw) {
    for (std::size_t i = 0; i < kMappingEventTypeCount; ++i) {
        if (kMappingEventTypeNames[i] == raw)
            return static_cast<MappingEventType>(i);
    }
    return std::nullopt;
}

}  // namespace tessiva

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace tessiva {

// One OSC argument: int32 (tag 'i'), string (tag 's') or float32 (tag 'f'), in that order.
// Every sender passes a list of these to OSCManager; decoding hands them back to the link.
class OSCArgument {
  public:
    enum class Kind { int32, string, float32 };

    static OSCArgument int32(std::int32_t value) { return OSCArgument(value); }
    static OSCArgument string(std::string value) { return OSCArgument(std::move(value)); }
    static OSCArgument float32(float value) { return OSCArgument(value); }

    Kind kind() const { return static_cast<Kind>(value_.index()); }
    const std::int32_t* asInt32() const { return std::get_if<std::int32_t>(&value_); }
    const std::string* asString() const { return std::get_if<std::string>(&value_); }
    const float* asFloat32() const { return std::get_if<float>(&value_); }

    bool operator==(const OSCArgument&) const = default;

  private:
    explicit OSCArgument(std::int32_t value) : value_(value) {}
    explicit OSCArgument(std::string value) : value_(std::move(value)) {}
    explicit OSCArgument(float value) : value_(value) {}
    std::variant<std::int32_t, std::string, float> value_;
};

inline constexpr std::size_t kOSCArgumentKindCount = 3;

// The type-tag characters, indexed by Kind.
inline constexpr char kOSCTypeTags[] = {'i', 's', 'f'};
static_assert(sizeof(kOSCTypeTags) == kOSCArgumentKindCount, "one tag per OSCArgument::Kind");

// Kind names for logs, indexed by Kind.
inline constexpr std::array<std::string_view, kOSCArgumentKindCount> kOSCArgumentKindNames = {
    "int32", "string", "float32"};
static_assert(static_cast<std::size_t>(OSCArgument::Kind::float32) + 1 == kOSCArgumentKindCount);

inline char typeTag(OSCArgument::Kind kind) {
    return kOSCTypeTags[static_cast<std::size_t>(kind)];
}
inline std::string_view kindName(OSCArgument::Kind kind) {
    return kOSCArgumentKindNames[static_cast<std::size_t>(kind)];
}

}  // namespace tessiva

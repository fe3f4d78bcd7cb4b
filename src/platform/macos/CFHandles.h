#pragma once

// Core Foundation ownership and string helpers for the macOS adapters. Included only by files
// under platform/macos, never by a header the core sees.

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tessiva::macos {

// Owns one +1 reference (a Create or Copy result) and releases it once.
template <typename Ref>
class CFOwned {
  public:
    CFOwned() = default;
    explicit CFOwned(Ref ref) : ref_(ref) {}
    CFOwned(const CFOwned&) = delete;
    CFOwned& operator=(const CFOwned&) = delete;
    CFOwned(CFOwned&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
    CFOwned& operator=(CFOwned&& other) noexcept {
        if (this != &other) {
            reset();
            ref_ = std::exchange(other.ref_, nullptr);
        }
        return *this;
    }
    ~CFOwned() { reset(); }

    Ref get() const { return ref_; }
    Ref* out() {
        reset();
        return &ref_;
    }
    explicit operator bool() const { return ref_ != nullptr; }
    // Hands the reference to a new owner.
    Ref release() { return std::exchange(ref_, nullptr); }
    void reset() {
        if (ref_ != nullptr)
            CFRelease(ref_);
        ref_ = nullptr;
    }

  private:
    Ref ref_ = nullptr;
};

inline CFOwned<CFStringRef> cfString(std::string_view text) {
    return CFOwned<CFStringRef>(
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

// UTF-8 of a CFString; nullopt for a null string or one that cannot be converted.
inline std::optional<std::string> utf8(CFStringRef text) {
    if (text == nullptr)
        return std::nullopt;
    if (const char* direct = CFStringGetCStringPtr(text, kCFStringEncodingUTF8))
        return std::string(direct);
    const CFIndex capacity =
        CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
    std::string buffer(static_cast<std::size_t>(capacity), '\0');
    if (!CFStringGetCString(text, buffer.data(), capacity, kCFStringEncodingUTF8))
        return std::nullopt;
    buffer.resize(std::char_traits<char>::length(buffer.c_str()));
    return buffer;
}

}  // namespace tessiva::macos

#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace tessiva {

// An opaque handle on one element of another application's Accessibility tree. The adapter that
// made it keeps whatever it needs behind `ref` (an AXUIElementRef on macOS, a node of the
// simulated Logic on Linux) and gives it an `identity`: equal identities mean the same element
// (the element's hash on macOS). Copies share the reference; a default handle is null. Handles
// are plain values and may cross queues freely.
class AXElement {
  public:
    AXElement() = default;
    AXElement(std::shared_ptr<const void> ref, std::uint64_t identity)
        : ref_(std::move(ref)), identity_(identity) {}

    explicit operator bool() const { return ref_ != nullptr; }
    std::uint64_t identity() const { return identity_; }
    const void* ref() const { return ref_.get(); }

    bool operator==(const AXElement& other) const {
        return (ref_ == nullptr) == (other.ref_ == nullptr) && identity_ == other.identity_;
    }

  private:
    std::shared_ptr<const void> ref_;
    std::uint64_t identity_ = 0;
};

}  // namespace tessiva

template <>
struct std::hash<tessiva::AXElement> {
    std::size_t operator()(const tessiva::AXElement& element) const noexcept {
        return std::hash<std::uint64_t>{}(element.identity());
    }
};

#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tessiva {

// The Logic track a bank is mapped to, as the mapping-query reply reports it.
struct MappedTrack {
    std::int32_t index = 0;
    std::string name;
    bool operator==(const MappedTrack&) const = default;
};

// Answers the iPad's "which track is this bank mapped to?". The coordinator implements it over the
// mapping store; it is called on the main queue. Tests use a fixed table.
class BankMappingLookup {
  public:
    virtual ~BankMappingLookup() = default;
    virtual std::optional<MappedTrack> mappedTrack(const std::string& bankUUID) const = 0;
};

}  // namespace tessiva

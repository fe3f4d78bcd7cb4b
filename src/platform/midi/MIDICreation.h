#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/midi/MIDIStatusCode.h"

namespace tessiva {

// The outcome of creating a MIDI client, port or virtual source: the object, or the failure
// status with a description for diagnostics. Creation never throws.
template <typename T>
struct MIDICreation {
    std::unique_ptr<T> object;
    MIDIStatusCode status = midistatus::kNoError;
    std::string description;

    static MIDICreation success(std::unique_ptr<T> created) {
        return MIDICreation{std::move(created), midistatus::kNoError, {}};
    }
    static MIDICreation failure(MIDIStatusCode code, std::string why) {
        return MIDICreation{nullptr,
                            code == midistatus::kNoError ? midistatus::kUnknownError : code,
                            std::move(why)};
    }
    bool ok() const { return object != nullptr; }
};

}  // namespace tessiva

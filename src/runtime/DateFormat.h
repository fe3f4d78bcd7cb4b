#pragma once

#include <string>

#include "runtime/Clock.h"

namespace tessiva {

// Seconds between the Unix epoch and 1 January 2001 00:00 UTC, the epoch of stored dates.
inline constexpr double kReferenceDateUnixSeconds = 978'307'200.0;

inline double unixSecondsFromDate(Date date) {
    return date + kReferenceDateUnixSeconds;
}
inline Date dateFromUnixSeconds(double unixSeconds) {
    return unixSeconds - kReferenceDateUnixSeconds;
}

// "yyyyMMdd-HHmmss" in local time, for file names such as a set-aside profile.
std::string compactLocalTimestamp(Date date);

// "yyyy-MM-dd HH:mm:ss.SSS" in local time, for the events list and transcripts.
std::string displayLocalTimestamp(Date date);

}  // namespace tessiva

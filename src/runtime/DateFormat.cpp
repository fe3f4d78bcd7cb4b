#include "runtime/DateFormat.h"

#include <fmt/format.h>

#include <cmath>
#include <ctime>

namespace tessiva {

namespace {
std::tm localTime(Date date) {
    const auto seconds = static_cast<std::time_t>(std::floor(unixSecondsFromDate(date)));
    std::tm parts{};
    localtime_r(&seconds, &parts);
    return parts;
}
}  // namespace

std::string compactLocalTimestamp(Date date) {
    const std::tm t = localTime(date);
    return fmt::format("{:04}{:02}{:02}-{:02}{:02}{:02}", t.tm_year + 1900, t.tm_mon + 1, t.tm_mday,
                       t.tm_hour, t.tm_min, t.tm_sec);
}

std::string displayLocalTimestamp(Date date) {
    const std::tm t = localTime(date);
    const double unix = unixSecondsFromDate(date);
    const int millis = static_cast<int>((unix - std::floor(unix)) * 1000.0) % 1000;
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}", t.tm_year + 1900, t.tm_mon + 1,
                       t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec, millis);
}

}  // namespace tessiva

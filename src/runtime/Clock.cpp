#include "runtime/Clock.h"

#include <chrono>

namespace tessiva {

namespace {
// 1 January 2001 00:00 UTC in Unix seconds.
constexpr double kReferenceDateUnixSeconds = 978'307'200.0;
}  // namespace

double SystemClock::now() const {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

Date SystemClock::date() const {
    using namespace std::chrono;
    return duration<double>(system_clock::now().time_since_epoch()).count() -
           kReferenceDateUnixSeconds;
}

}  // namespace tessiva

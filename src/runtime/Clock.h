#pragma once

#include <atomic>

namespace tessiva {

// Seconds since 1 January 2001 00:00 UTC: the epoch of every stored date (profile files,
// event-log entries).
using Date = double;

// The source of time for every timing rule. Deadlines and intervals use `now()` (monotonic);
// stored timestamps use `date()` (wall clock). Production uses SystemClock; tests drive a
// ManualClock through the VirtualScheduler.
class Clock {
  public:
    virtual ~Clock() = default;
    // Monotonic seconds; only differences are meaningful.
    virtual double now() const = 0;
    // Wall-clock seconds since 1 January 2001 UTC.
    virtual Date date() const = 0;
};

class SystemClock final : public Clock {
  public:
    double now() const override;
    Date date() const override;
};

// A clock that only moves when told to. `now()` and `date()` advance together.
class ManualClock final : public Clock {
  public:
    explicit ManualClock(double start = 1000.0, Date startDate = 800'000'000.0)
        : now_(start), dateOffset_(startDate - start) {}

    double now() const override { return now_.load(); }
    Date date() const override { return now_.load() + dateOffset_; }
    void set(double seconds) { now_.store(seconds); }
    void advance(double seconds) { now_.store(now_.load() + seconds); }

  private:
    std::atomic<double> now_;
    double dateOffset_;
};

}  // namespace tessiva

#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tessiva {

// Where console lines go ("[MenuBar] ...", "[MIDIRelay] ..."). Thread-safe. The program writes to
// standard output; tests capture lines with CapturingConsole.
class Console {
  public:
    virtual ~Console() = default;
    virtual void line(std::string_view text) = 0;
};

class StdoutConsole final : public Console {
  public:
    void line(std::string_view text) override;

  private:
    std::mutex mutex_;
};

// Drops everything (benchmarks).
class NullConsole final : public Console {
  public:
    void line(std::string_view) override {}
};

class CapturingConsole final : public Console {
  public:
    void line(std::string_view text) override;
    std::vector<std::string> lines() const;
    // True when some line contains `text`.
    bool contains(std::string_view text) const;
    std::size_t count(std::string_view text) const;
    void clear();

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

}  // namespace tessiva

#pragma once

#include <string>
#include <utility>

namespace tessiva {

// The outcome of an operation that can fail with a message for the user and the log.
// Refusals cross subsystem boundaries as values, never as exceptions.
class [[nodiscard]] Status {
  public:
    static Status success() { return Status(); }
    static Status failure(std::string message) { return Status(std::move(message)); }

    bool ok() const { return !failed_; }
    explicit operator bool() const { return ok(); }
    const std::string& error() const { return error_; }

  private:
    Status() = default;
    explicit Status(std::string message) : failed_(true), error_(std::move(message)) {}
    bool failed_ = false;
    std::string error_;
};

}  // namespace tessiva

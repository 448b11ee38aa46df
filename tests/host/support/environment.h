// Environment variables for the length of a test.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace dirty_seg::test {

inline std::optional<std::string> Variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

/// Sets the variable, or unsets it for nothing, and puts back what was there.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const std::optional<std::string>& value)
      : name_(name), before_(Variable(name)) {
    Set(value);
  }
  ~ScopedVariable() { Set(before_); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  void Set(const std::optional<std::string>& value) const {
    if (value) {
      setenv(name_, value->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }

  const char* name_;
  std::optional<std::string> before_;
};

}  // namespace dirty_seg::test

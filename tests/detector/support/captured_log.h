// Collects the lines that the detector logs.
#pragma once

#include <spdlog/common.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

/// One line without its number and tag, which `CapturedLog` checks itself.
struct Line {
  spdlog::level::level_enum level;
  std::string function;
  std::string text;
};

bool operator==(const Line& a, const Line& b);
std::ostream& operator<<(std::ostream& out, const Line& line);

Line Debug(const std::string& function, const std::string& text);
Line Info(const std::string& function, const std::string& text);
Line Error(const std::string& function, const std::string& text);

using Lines = std::vector<Line>;

/// Takes the place of the process logger's sinks and starts its count at 0, at level debug, as long
/// as it lives. Every line must be numbered one further than the one before, carry its level's tag
/// and name the detector's source file; a line that does not fails the test.
class CapturedLog {
 public:
  CapturedLog();
  ~CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  const Lines& GetLines() const;
  /// Texts of all lines, as the sinks get them: with number and tag.
  const std::vector<std::string>& RawTexts() const;
  /// Source line of each call.
  const std::vector<int>& SourceLines() const;
  void Clear();
  /// Sets the logger's counter; the next line is numbered one further.
  void RestartAt(std::uint8_t sequence);
  /// Calls `function` whenever a line comes in.
  void OnLine(std::function<void()> function);

 private:
  class Sink;
  std::shared_ptr<Sink> sink_;
  std::vector<std::shared_ptr<spdlog::sinks::sink>> replaced_sinks_;
};

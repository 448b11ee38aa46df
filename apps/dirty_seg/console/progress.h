// Progress display: a bar on a terminal, elsewhere one line per minute.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace dirty_seg {

struct ProgressState {
  std::int64_t done = 0;  // frames
  std::optional<std::int64_t> of;
  double seconds = 0.0;  // since the start
};

/// "120 of 300 frames, 2.0 frames/s, 1:30 left", leaving out what is not known.
std::string ProgressText(const ProgressState& state);

/// The same after a bar, in at most `columns` characters.
std::string ProgressBar(const ProgressState& state, int columns);

/// Shows progress on standard error, as messages.h does.
class Progress {
 public:
  /// Seconds since any fixed moment.
  using Clock = std::function<double()>;

  /// `columns` of the terminal; nothing if there is none.
  Progress(Clock clock, std::optional<int> columns);
  /// Removes the bar.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows it when it is due: ten times a second on a terminal, else every minute.
  void Update(std::int64_t done, std::optional<std::int64_t> of);

 private:
  Clock clock_;
  std::optional<int> columns_;
  double begin_;
  double next_;
};

/// Seconds on a steady clock.
double SteadySeconds();

/// Width of the terminal on standard error; nothing if it is not a terminal.
std::optional<int> TerminalColumns();

}  // namespace dirty_seg

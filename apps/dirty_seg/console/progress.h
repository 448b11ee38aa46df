// How far long work is: a bar on a terminal, elsewhere a line a minute.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace dirty_seg {

struct ProgressState {
  std::int64_t done = 0;  // frames
  std::optional<std::int64_t> of;
  double seconds = 0.0;  // since the beginning
};

/// "120 of 300 frames, 2.0 frames/s, 1:30 left", without what is not known.
std::string ProgressText(const ProgressState& state);

/// The same after a bar, in at most `columns` characters.
std::string ProgressBar(const ProgressState& state, int columns);

/// Says on standard error how far it is, as messages.h does.
class Progress {
 public:
  /// Seconds since whenever.
  using Clock = std::function<double()>;

  /// `columns` of the terminal; nothing where there is none.
  Progress(Clock clock, std::optional<int> columns);
  /// Leaves no bar behind.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Says it when it is time again: ten times a second on a terminal, else every minute.
  void Update(std::int64_t done, std::optional<std::int64_t> of);

 private:
  Clock clock_;
  std::optional<int> columns_;
  double begin_;
  double next_;
};

/// Time that passes for the user.
double SteadySeconds();

/// Width of the terminal that standard error is; nothing when it is none.
std::optional<int> TerminalColumns();

}  // namespace dirty_seg

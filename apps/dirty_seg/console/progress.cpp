#include "console/progress.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "console/messages.h"

namespace dirty_seg {
namespace {

constexpr double kSecondsBetweenBars = 0.1;
constexpr double kSecondsBetweenLines = 60.0;
constexpr int kWidestBar = 30;
constexpr int kDefaultColumns = 80;

// "1:30", or "2:01:30" from an hour on.
std::string TimeText(double seconds) {
  const auto whole = std::lround(seconds);
  if (whole < 3600) return fmt::format("{}:{:02}", whole / 60, whole % 60);
  return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

}  // namespace

std::string ProgressText(const ProgressState& state) {
  std::string text = std::to_string(state.done);
  if (state.of) text += fmt::format(" of {}", *state.of);
  text += " frames";
  if (state.done == 0 || state.seconds <= 0.0) return text;
  const double rate = static_cast<double>(state.done) / state.seconds;
  text += fmt::format(", {:.1f} frames/s", rate);
  if (!state.of) return text;
  const double left = static_cast<double>(std::max<std::int64_t>(0, *state.of - state.done));
  return text + ", " + TimeText(left / rate) + " left";
}

std::string ProgressBar(const ProgressState& state, int columns) {
  const std::string text = ProgressText(state);
  const int room = columns - static_cast<int>(text.size()) - 3;  // brackets and a space
  const int width = std::min(kWidestBar, room);
  if (!state.of || *state.of <= 0 || width < 1) {
    return text.substr(0, static_cast<std::size_t>(std::max(0, columns)));
  }
  const std::int64_t done = std::clamp<std::int64_t>(state.done, 0, *state.of);
  const auto filled = static_cast<std::size_t>(done * width / *state.of);
  return "[" + std::string(filled, '#') +
         std::string(static_cast<std::size_t>(width) - filled, '.') + "] " + text;
}

Progress::Progress(Clock clock, std::optional<int> columns)
    : clock_(std::move(clock)),
      columns_(columns),
      begin_(clock_()),
      next_(begin_ + (columns ? 0.0 : kSecondsBetweenLines)) {}

Progress::~Progress() { ShowStatusLine(""); }

void Progress::Update(std::int64_t done, std::optional<std::int64_t> of) {
  const double now = clock_();
  if (now < next_) return;
  next_ = now + (columns_ ? kSecondsBetweenBars : kSecondsBetweenLines);
  const ProgressState state{done, of, now - begin_};
  if (columns_) {
    // A terminal wraps after its last column.
    ShowStatusLine(ProgressBar(state, *columns_ - 1));
  } else {
    PrintMessage(ProgressText(state));
  }
}

double SteadySeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::optional<int> TerminalColumns() {
  if (isatty(STDERR_FILENO) == 0) return std::nullopt;
  winsize size{};
  const bool is_known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return is_known ? size.ws_col : kDefaultColumns;
}

}  // namespace dirty_seg

#include "detector/log_capture.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>

#include "base/errors.h"
#include "base/nearest.h"
#include "base/printable.h"
#include "base/text.h"
#include "console/error_capture.h"
#include "console/messages.h"
#include "detector/frame_log.h"

namespace dirty_seg {
namespace {

constexpr const char* kSwitch = "SPDLOG_STDOUT";
constexpr const char* kLevel = "SPDLOG_LEVEL";

// Ranks of `kLogLevels`, in their order. The library logs at debug, info and error.
constexpr std::array<int, kLogLevels.size()> kRanks{0, 1, 2, 3, 3, 4, 4, 5, 6};
constexpr int kDebug = 1;
constexpr int kInfo = 2;

bool IsOn(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && std::strcmp(value, "false") != 0;
}

// Nothing for a word that is not a level.
std::optional<int> RankOf(const std::string& level) {
  const auto* const at = std::find(kLogLevels.begin(), kLogLevels.end(), level);
  if (at == kLogLevels.end()) return std::nullopt;
  return kRanks.at(static_cast<std::size_t>(at - kLogLevels.begin()));
}

void WarnOfUnknownLevel(const std::string& word) {
  const std::vector<std::string> words(kLogLevels.begin(), kLogLevels.end());
  PrintWarning(fmt::format("{} is '{}', not one of {}; info is used{}", kLevel, word,
                           fmt::join(words, ", "), DidYouMean(word, words)));
}

// The lowest level that the user wants to see.
int ReadLevel(const LogOptions& options) {
  if (!options.level.empty()) return RankOf(options.level).value_or(kInfo);
  const char* const word = std::getenv(kLevel);
  if (word == nullptr || *word == '\0') return kInfo;
  const std::optional<int> rank = RankOf(word);
  if (!rank && !options.quiet) WarnOfUnknownLevel(word);
  return rank.value_or(kInfo);
}

// Sets the library's variables to what the capture needs. Returns whether the user wants the lines
// on standard output; the library takes an unknown value as true.
bool SetUpEnvironment(int level) {
  const bool is_wanted = IsOn(kSwitch);
  if (!is_wanted) setenv(kSwitch, "true", 1);
  setenv("SPDLOG_SYSTEMD", "false", 0);
  setenv(kLevel, level < kDebug ? "trace" : level < kInfo ? "debug" : "info", 1);
  return is_wanted;
}

[[noreturn]] void Fail(const char* what) {
  throw SetupError(std::string(what) + ": " + std::strerror(errno));
}

// The library's notices about values of variables that it does not know.
bool IsNotice(const std::string& line) { return line.rfind("environment variable ", 0) == 0; }

// Empties the file behind file descriptor 1. Its offset is the writer's, so it is only read past.
std::string TakeText() {
  std::string text;
  std::array<char, 65536> piece{};
  ssize_t length = 0;
  while ((length = pread(STDOUT_FILENO, piece.data(), piece.size(),
                         static_cast<off_t>(text.size()))) > 0) {
    text.append(piece.data(), static_cast<std::size_t>(length));
  }
  if (ftruncate(STDOUT_FILENO, 0) != 0 || lseek(STDOUT_FILENO, 0, SEEK_SET) != 0) {
    Fail("the log cannot be read");
  }
  return text;
}

}  // namespace

bool IsLogLevel(const std::string& word) { return RankOf(word).has_value(); }

LogCapture::LogCapture(const LogOptions& options)
    : verbose_(options.verbose || !options.level.empty()),
      quiet_(options.quiet),
      level_(ReadLevel(options)),
      wanted_on_standard_output_(SetUpEnvironment(level_)) {
  std::fflush(stdout);
  const int real_output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (real_output < 0) Fail("standard output cannot be used");
  output_ = fdopen(real_output, "w");
  const int memory = memfd_create("dirty_seg log", MFD_CLOEXEC);
  if (output_ == nullptr || memory < 0 || dup2(memory, STDOUT_FILENO) < 0) {
    Fail("the log cannot be captured");
  }
  close(memory);
}

LogCapture::~LogCapture() {
  std::fflush(stdout);
  std::fflush(output_);
  dup2(fileno(output_), STDOUT_FILENO);
  std::fclose(output_);
}

std::vector<std::string> LogCapture::TakeLines() {
  std::vector<std::string> lines = TakeUnshownLines();
  Show(lines);
  return lines;
}

std::vector<std::string> LogCapture::TakeUnshownLines() {
  std::fflush(stdout);
  std::istringstream text(TakeText());
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

CallLines LogCapture::Record(const std::function<void()>& call) {
  const ErrorCapture errors;
  call();
  return {TakeUnshownLines(), errors.Lines()};
}

void LogCapture::Show(const CallLines& lines) {
  for (const std::string& line : lines.errors) PrintForeignLine(line);
  Show(lines.log);
}

void LogCapture::Show(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) {
    if (IsShown(line)) PassOn(line);
  }
  if (wanted_on_standard_output_) std::fflush(output_);
}

// A line without a tag goes with the one before it.
bool LogCapture::IsShown(const std::string& line) {
  if (const std::optional<LogEntry> entry = ReadLogEntry(line)) {
    last_is_shown_ = RankOf(Lower(entry->tag)).value_or(kInfo) >= level_;
  }
  return last_is_shown_;
}

void LogCapture::PassOn(const std::string& line) const {
  if (wanted_on_standard_output_) std::fprintf(output_, "%s\n", Printable(line).c_str());
  if (quiet_) return;
  if (verbose_ || (IsNotice(line) && !wanted_on_standard_output_)) PrintLine(line);
}

}  // namespace dirty_seg

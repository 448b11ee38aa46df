#include "host/log_capture.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>

#include "host/errors.h"
#include "host/frame_log.h"
#include "host/messages.h"

namespace dirty_seg {
namespace {

constexpr const char* kSwitch = "SPDLOG_STDOUT";

bool IsOn(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && std::strcmp(value, "false") != 0;
}

// Place among `kLogLevels`; that of "trace" for another word.
std::size_t Rank(const std::string& level) {
  const auto* const at = std::find(kLogLevels.begin(), kLogLevels.end(), level);
  return at == kLogLevels.end() ? 0 : static_cast<std::size_t>(at - kLogLevels.begin());
}

// The library's word for one of `kLogLevels`. It logs nothing at the level "critical".
std::string LibraryLevel(const std::string& level) {
  if (level == "warn") return "warning";
  return level == "off" ? "critical" : level;
}

// Sets the library's variables to what the capture needs. Returns whether the user wants the lines
// on standard output: a value that the library does not know counts as true there.
bool SetUpEnvironment(const std::string& level) {
  const bool is_wanted = IsOn(kSwitch);
  if (!is_wanted) setenv(kSwitch, "true", 1);
  setenv("SPDLOG_SYSTEMD", "false", 0);
  if (!level.empty()) {
    const bool is_exact = IsOn("SPDLOG_SYSTEMD") || Rank(level) < Rank("info");
    setenv("SPDLOG_LEVEL", is_exact ? LibraryLevel(level).c_str() : "info", 1);
  }
  setenv("SPDLOG_LEVEL", "info", 0);
  return is_wanted;
}

[[noreturn]] void Fail(const char* what) {
  throw SetupError(std::string(what) + ": " + std::strerror(errno));
}

// The library tells with these that it does not understand a variable's value.
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

LogCapture::LogCapture(const LogOptions& options)
    : verbose_(options.verbose || !options.level.empty()),
      quiet_(options.quiet),
      wanted_on_standard_output_(SetUpEnvironment(options.level)),
      level_(options.level) {
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
  std::fflush(stdout);
  std::istringstream text(TakeText());
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  for (const std::string& line : lines) {
    if (IsShown(line)) PassOn(line);
  }
  if (wanted_on_standard_output_) std::fflush(output_);
  return lines;
}

// A line without a tag goes with the one before it.
bool LogCapture::IsShown(const std::string& line) {
  if (std::optional<LogEntry> entry = ReadLogEntry(line)) {
    std::string& tag = entry->tag;
    std::transform(tag.begin(), tag.end(), tag.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    last_is_shown_ = Rank(tag) >= Rank(level_);
  }
  return last_is_shown_;
}

void LogCapture::PassOn(const std::string& line) const {
  if (wanted_on_standard_output_) std::fprintf(output_, "%s\n", line.c_str());
  if (quiet_) return;
  if (verbose_ || (IsNotice(line) && !wanted_on_standard_output_)) TellPlainly(line);
}

}  // namespace dirty_seg

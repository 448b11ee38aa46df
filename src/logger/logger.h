// The process-wide logger and the call that every log line goes through.
#pragma once

#include <spdlog/fmt/fmt.h>
#include <spdlog/logger.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace tessmar {

/// Holder of the one logger of the process, set up from the environment at first use:
///
///   SPDLOG_STDOUT   true (default) or false: lines on standard output
///   SPDLOG_SYSTEMD  true or false (default): entries in the systemd journal
///   SPDLOG_LEVEL    trace, debug, info (default), warning, error or critical
///
/// A variable that is missing or holds anything else gets a notice on standard output and the
/// default. Later changes of the environment have no effect.
class Logger {
 public:
  /// Builds the instance at the first call, which alone reads `name`: the logger's name and the
  /// journal's identifier. Concurrent first calls wait for one build.
  static Logger& Instance(const std::string& name);

  /// Null only when spdlog refused to build it.
  std::shared_ptr<spdlog::logger> logger;
  /// Counts the lines that pass `level`, modulo 256. Advanced without a lock: concurrent calls may
  /// repeat or skip a number.
  std::uint8_t sequence = 0;
  /// Threshold, an spdlog level.
  std::int32_t level = spdlog::level::info;
};

/// Builds what `Instance` holds, from the environment as told above. A module that is linked with
/// another definition of it has that one called instead.
Logger BuildLogger(const std::string& name);

/// A level that the library logs at, with the format of what stands before the message.
struct Severity {
  spdlog::level::level_enum level;
  const char* prefix;
};
inline constexpr Severity kDebug{spdlog::level::debug, "{0:3d} [DEBUG] "};
inline constexpr Severity kInfo{spdlog::level::info, "{0:3d} [INFO] "};
inline constexpr Severity kError{spdlog::level::err, "{0:3d} [ERROR] "};

/// A line that has its number and tag; its message is yet to be formatted.
struct LogLine {
  std::shared_ptr<spdlog::logger> logger;  // held until the line is written
  spdlog::level::level_enum level;
  std::string prefix;
};
LogLine BeginLine(const Severity& severity);

/// Sink errors are spdlog's to handle.
void WriteLine(const LogLine& line, const spdlog::source_loc& site, const std::string& message);

/// Formats always, also when the level then filters the line out.
template <typename... Args>
void Log(const Severity& severity, const spdlog::source_loc& site,
         fmt::format_string<Args...> format, Args&&... args) {
  const LogLine line = BeginLine(severity);
  WriteLine(line, site, fmt::format(format, std::forward<Args>(args)...));
}

/// The source file that every line names: the one that holds the detector's operations.
inline constexpr const char* kLogFile = "src/dirty_seg_detector/dirty_seg_detector";

}  // namespace tessmar

// Macros, since only they see the caller's line and function.
#define TESSMAR_LOG_SITE \
  spdlog::source_loc { ::tessmar::kLogFile, __LINE__, static_cast<const char*>(__func__) }
#define TESSMAR_LOG_DEBUG(...) ::tessmar::Log(::tessmar::kDebug, TESSMAR_LOG_SITE, __VA_ARGS__)
#define TESSMAR_LOG_INFO(...) ::tessmar::Log(::tessmar::kInfo, TESSMAR_LOG_SITE, __VA_ARGS__)
#define TESSMAR_LOG_ERROR(...) ::tessmar::Log(::tessmar::kError, TESSMAR_LOG_SITE, __VA_ARGS__)

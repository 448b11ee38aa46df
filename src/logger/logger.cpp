#include "logger/logger.h"

namespace tessmar {
namespace {

// The number of the next line; the one before where the line does not pass. Load and store by
// themselves, without a lock: what concurrent calls may repeat or skip is a number, never more.
std::uint8_t NextNumber(bool passes, std::uint8_t& sequence) {
  const std::uint8_t number = __atomic_load_n(&sequence, __ATOMIC_RELAXED);
  if (!passes) return number;
  const auto next = static_cast<std::uint8_t>(number + 1);
  __atomic_store_n(&sequence, next, __ATOMIC_RELAXED);
  return next;
}

}  // namespace

Logger& Logger::Instance(const std::string& name) {
  static Logger instance = BuildLogger(name);
  return instance;
}

LogLine BeginLine(const Severity& severity) {
  Logger& instance = Logger::Instance("spdlog");
  LogLine line{instance.logger, severity.level, {}};
  const int number = NextNumber(instance.level <= severity.level, instance.sequence) % 128;
  line.prefix = fmt::format(fmt::runtime(severity.prefix), number);
  return line;
}

void WriteLine(const LogLine& line, const spdlog::source_loc& site, const std::string& message) {
  if (line.logger != nullptr) line.logger->log(site, line.level, line.prefix + message);
}

}  // namespace tessmar

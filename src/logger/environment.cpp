// The logger as the environment wants it.
#include <spdlog/sinks/ansicolor_sink.h>
#include <spdlog/sinks/systemd_sink.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <vector>

#include "logger/logger.h"

namespace tessmar {
namespace {

// Notices precede the logger that could carry them, so they go to standard output directly.
void PrintNotice(const char* variable, const char* problem, const char* fallback) {
  std::printf("environment variable %s is %s, and set %s\n", variable, problem, fallback);
}

bool ReadSwitch(const char* variable, bool fallback) {
  const char* value = std::getenv(variable);
  if (value != nullptr && std::string_view(value) == "true") return true;
  if (value != nullptr && std::string_view(value) == "false") return false;
  PrintNotice(variable, value == nullptr ? "not set" : "invalid", fallback ? "true" : "false");
  return fallback;
}

spdlog::level::level_enum ReadLevel(const char* variable) {
  struct Name {
    std::string_view text;
    spdlog::level::level_enum level;
  };
  constexpr std::array<Name, 6> kNames{{{"trace", spdlog::level::trace},
                                        {"debug", spdlog::level::debug},
                                        {"info", spdlog::level::info},
                                        {"warning", spdlog::level::warn},
                                        {"error", spdlog::level::err},
                                        {"critical", spdlog::level::critical}}};
  const char* value = std::getenv(variable);
  if (value != nullptr) {
    for (const Name& name : kNames) {
      if (name.text == value) return name.level;
    }
  }
  PrintNotice(variable, value == nullptr ? "not set" : "invalid", "default level");
  return spdlog::level::info;
}

}  // namespace

Logger BuildLogger(const std::string& name) {
  using ConsoleSink = spdlog::sinks::ansicolor_stdout_sink<spdlog::details::console_mutex>;
  using JournalSink = spdlog::sinks::systemd_sink<std::mutex>;
  Logger built;
  try {
    std::vector<spdlog::sink_ptr> sinks;
    if (ReadSwitch("SPDLOG_STDOUT", true)) {
      sinks.push_back(std::make_shared<ConsoleSink>(spdlog::color_mode::automatic));
    }
    if (ReadSwitch("SPDLOG_SYSTEMD", false)) sinks.push_back(std::make_shared<JournalSink>());
    built.logger = std::make_shared<spdlog::logger>(name, sinks.begin(), sinks.end());
    const spdlog::level::level_enum level = ReadLevel("SPDLOG_LEVEL");
    built.level = level;
    built.logger->set_level(level);
    built.logger->set_pattern("%v", spdlog::pattern_time_type::local);
  } catch (const spdlog::spdlog_ex&) {  // logging must not keep the host from running
  }
  return built;
}

}  // namespace tessmar

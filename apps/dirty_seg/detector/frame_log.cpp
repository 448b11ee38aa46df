#include "detector/frame_log.h"

#include <array>
#include <cctype>
#include <cstdlib>

namespace dirty_seg {
namespace {

struct Stage {
  const char* beginning;  // of the message that has its time
  std::optional<double> StageTimes::*time;
};
constexpr std::array<Stage, 3> kStages{{
    {"dirty seg detection inference cost time is ", &StageTimes::inference},
    {"Dirty seg detection postprocess cost time is ", &StageTimes::postprocess},
    {"dirty seg detection convert result cost time is ", &StageTimes::convert},
}};

// The number of "BEGINNING12.345678 ms."
std::optional<double> ReadTime(const std::string& message, const std::string& beginning) {
  if (message.rfind(beginning, 0) != 0) return std::nullopt;
  const char* const text = message.c_str() + beginning.size();
  char* end = nullptr;
  const double time = std::strtod(text, &end);
  if (end == text || std::string(end) != " ms.") return std::nullopt;
  return time;
}

}  // namespace

std::optional<LogEntry> ReadLogEntry(const std::string& line) {
  std::size_t i = 0;
  while (i < line.size() && line[i] == ' ') ++i;
  const std::size_t number = i;
  while (i < line.size() && std::isdigit(static_cast<unsigned char>(line[i])) != 0) ++i;
  if (i == number || line.compare(i, 2, " [") != 0) return std::nullopt;
  const std::size_t tag = i + 2;
  const std::size_t end = line.find("] ", tag);
  if (end == std::string::npos) return std::nullopt;
  return LogEntry{line.substr(tag, end - tag), line.substr(end + 2)};
}

FrameLog ReadFrameLog(const std::vector<std::string>& lines) {
  FrameLog log;
  for (const std::string& line : lines) {
    std::optional<LogEntry> entry = ReadLogEntry(line);
    if (!entry) continue;
    if (entry->tag == "ERROR") log.errors.push_back(entry->message);
    for (const Stage& stage : kStages) {
      if (const auto time = ReadTime(entry->message, stage.beginning)) log.times.*stage.time = time;
    }
    log.entries.push_back(*std::move(entry));
  }
  return log;
}

}  // namespace dirty_seg

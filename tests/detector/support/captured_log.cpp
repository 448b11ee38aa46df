#include "support/captured_log.h"

#include <gtest/gtest.h>
#include <spdlog/details/null_mutex.h>
#include <spdlog/sinks/base_sink.h>

#include <cstdio>
#include <utility>

#include "logger/logger.h"

namespace {

const char* TagOf(spdlog::level::level_enum level) {
  switch (level) {
    case spdlog::level::debug:
      return "[DEBUG]";
    case spdlog::level::info:
      return "[INFO]";
    case spdlog::level::err:
      return "[ERROR]";
    default:
      return "[a level that the library does not log at]";
  }
}

std::string PrefixOf(int number, spdlog::level::level_enum level) {
  char text[64];
  std::snprintf(text, sizeof(text), "%3d %s ", number, TagOf(level));
  return text;
}

}  // namespace

bool operator==(const Line& a, const Line& b) {
  return a.level == b.level && a.function == b.function && a.text == b.text;
}

std::ostream& operator<<(std::ostream& out, const Line& line) {
  return out << TagOf(line.level) << ' ' << line.function << ": " << line.text;
}

Line Debug(const std::string& function, const std::string& text) {
  return {spdlog::level::debug, function, text};
}
Line Info(const std::string& function, const std::string& text) {
  return {spdlog::level::info, function, text};
}
Line Error(const std::string& function, const std::string& text) {
  return {spdlog::level::err, function, text};
}

class CapturedLog::Sink : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
 public:
  Lines lines;
  std::vector<std::string> raw_texts;
  std::vector<int> source_lines;
  std::function<void()> on_line;
  int last_number = 0;

 protected:
  void sink_it_(const spdlog::details::log_msg& message) override {
    const std::string raw(message.payload.data(), message.payload.size());
    last_number = (last_number + 1) % 128;
    const std::string prefix = PrefixOf(last_number, message.level);
    EXPECT_EQ(raw.substr(0, prefix.size()), prefix) << "in: " << raw;
    EXPECT_STREQ(message.source.filename, "src/dirty_seg_detector/dirty_seg_detector");
    EXPECT_GT(message.source.line, 0);
    raw_texts.push_back(raw);
    source_lines.push_back(message.source.line);
    lines.push_back({message.level, message.source.funcname,
                     raw.size() < prefix.size() ? raw : raw.substr(prefix.size())});
    if (on_line) on_line();
  }
  void flush_() override {}
};

CapturedLog::CapturedLog() : sink_(std::make_shared<Sink>()) {
  tessmar::Logger& instance = tessmar::Logger::Instance("spdlog");
  RestartAt(0);
  instance.level = spdlog::level::debug;
  instance.logger->set_level(spdlog::level::debug);
  replaced_sinks_ = instance.logger->sinks();
  instance.logger->sinks() = {sink_};
}

CapturedLog::~CapturedLog() {
  tessmar::Logger::Instance("spdlog").logger->sinks() = replaced_sinks_;
}

const Lines& CapturedLog::GetLines() const { return sink_->lines; }
const std::vector<std::string>& CapturedLog::RawTexts() const { return sink_->raw_texts; }
const std::vector<int>& CapturedLog::SourceLines() const { return sink_->source_lines; }

void CapturedLog::Clear() {
  sink_->lines.clear();
  sink_->raw_texts.clear();
  sink_->source_lines.clear();
}

void CapturedLog::RestartAt(std::uint8_t sequence) {
  tessmar::Logger::Instance("spdlog").sequence = sequence;
  sink_->last_number = sequence % 128;
}

void CapturedLog::OnLine(std::function<void()> function) { sink_->on_line = std::move(function); }

#include "speech.h"

#include <spdlog/sinks/ansicolor_sink.h>
#include <spdlog/sinks/base_sink.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

#include "base/printable.h"
#include "common/diagnostics.h"
#include "console/engine_text.h"
#include "console/messages.h"
#include "logger/logger.h"

namespace dirty_seg::python {
namespace {

thread_local CallLines* lines_of_thread = nullptr;
thread_local SetupSpeech* speech_of_thread = nullptr;

bool IsOn(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && std::string_view(value) == "true";
}

// Gives each line to the thread that logs it; one without a recorder says it to nobody.
class ThreadSink : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
 protected:
  void sink_it_(const spdlog::details::log_msg& message) override {
    if (lines_of_thread == nullptr) return;
    lines_of_thread->log.emplace_back(message.payload.data(), message.payload.size());
  }

  void flush_() override {}
};

// Sets a thread's variable for its lifetime.
template <typename Value>
class Exchanged {
 public:
  Exchanged(Value*& variable, Value* value) : variable_(variable), before_(variable) {
    variable_ = value;
  }
  ~Exchanged() { variable_ = before_; }
  Exchanged(const Exchanged&) = delete;
  Exchanged& operator=(const Exchanged&) = delete;

 private:
  Value*& variable_;
  Value* before_;
};

template <typename Text>
void Append(std::vector<Text>&& from, std::vector<Text>& to) {
  std::move(from.begin(), from.end(), std::back_inserter(to));
}

}  // namespace

CallLines SpeechRecorder::Record(const std::function<void()>& call) {
  CallLines lines;
  const Exchanged<CallLines> exchanged(lines_of_thread, &lines);
  call();
  return lines;
}

void SpeechRecorder::Show(const CallLines& lines) {
  CallLines copy = lines;
  Append(std::move(copy.log), shown_.log);
  Append(std::move(copy.errors), shown_.errors);
}

CallLines SpeechRecorder::TakeShown() { return std::exchange(shown_, {}); }

void Listen(SetupSpeech& speech, const std::function<void()>& call) {
  const Exchanged<SetupSpeech> exchanged(speech_of_thread, &speech);
  call();
}

std::string JournalNotice() {
  if (!IsOn("SPDLOG_SYSTEMD")) return "";
  return "SPDLOG_SYSTEMD is true, but this package cannot write to the systemd journal; the log "
         "goes "
         "to Python's logger 'dirty_seg'";
}

}  // namespace dirty_seg::python

namespace nuvik {

void PrintError(const std::string& text) {
  if (dirty_seg::python::lines_of_thread == nullptr) return;
  dirty_seg::python::lines_of_thread->errors.push_back(std::string(dirty_seg::kEngineSpeaker) +
                                                       PrintableLine(text));
}

}  // namespace nuvik

namespace tessmar {

// What results are made from is logged at info, so that is the highest level.
Logger BuildLogger(const std::string& name) {
  Logger built;
  const char* wanted = std::getenv("SPDLOG_LEVEL");
  const auto level =
      std::min(spdlog::level::from_str(wanted == nullptr ? "info" : wanted), spdlog::level::info);
  built.logger =
      std::make_shared<spdlog::logger>(name, std::make_shared<dirty_seg::python::ThreadSink>());
  if (dirty_seg::python::IsOn("SPDLOG_STDOUT")) {
    built.logger->sinks().push_back(std::make_shared<spdlog::sinks::ansicolor_stdout_sink_mt>());
  }
  built.level = wanted != nullptr && level == spdlog::level::off ? spdlog::level::info : level;
  built.logger->set_level(static_cast<spdlog::level::level_enum>(built.level));
  built.logger->set_pattern("%v");
  return built;
}

}  // namespace tessmar

namespace dirty_seg {

void PrintWarning(std::string_view text) {
  if (python::speech_of_thread != nullptr) {
    python::speech_of_thread->warnings.push_back(Printable(text));
  }
}

void PrintError(std::string_view text) {
  if (python::speech_of_thread != nullptr) {
    python::speech_of_thread->errors.push_back(Printable(text));
  }
}

}  // namespace dirty_seg

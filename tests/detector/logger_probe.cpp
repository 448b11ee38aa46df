// A process that logs as its arguments say, so that a test can choose its environment:
//
//   debug:TEXT info:TEXT error:TEXT   one line
//   repeat:N                          N lines at info level
//   instance:NAME                     asks for the logger under that name
//   race                              asks for it in eight threads at once
//   setenv:NAME=VALUE                 changes the environment
//   fail:spdlog_ex fail:bad_alloc     makes the next set-up throw
//   witness                           adds a sink that prints "released" when it goes
//   state                             prints what the logger is like
//   lines                             prints the source lines of the log calls
#include <spdlog/sinks/ansicolor_sink.h>
#include <spdlog/sinks/systemd_sink.h>
#include <spdlog/spdlog.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "logger/logger.h"

// The linker redirects spdlog::logger::set_level to the first and gives the second for the
// original. NOLINTBEGIN(bugprone-reserved-identifier): the linker chooses the names.
extern "C" void __wrap__ZN6spdlog6logger9set_levelENS_5level10level_enumE(
    spdlog::logger* logger, spdlog::level::level_enum level);
extern "C" void __real__ZN6spdlog6logger9set_levelENS_5level10level_enumE(
    spdlog::logger* logger, spdlog::level::level_enum level);
// NOLINTEND(bugprone-reserved-identifier)

namespace {

std::string next_failure;
int debug_line = 0;
int info_line = 0;
int error_line = 0;

void LogDebug(const std::string& text) {
  debug_line = __LINE__ + 1;
  TESSMAR_LOG_DEBUG("{}", text);
}

void LogInfo(const std::string& text) {
  info_line = __LINE__ + 1;
  TESSMAR_LOG_INFO("{}", text);
}

void LogError(const std::string& text) {
  error_line = __LINE__ + 1;
  TESSMAR_LOG_ERROR("{}", text);
}

void Repeat(const std::string& count) {
  for (int i = 0; i < std::stoi(count); ++i) LogInfo("x");
}

void AskForInstance(const std::string& name) {
  try {
    tessmar::Logger::Instance(name);
  } catch (const std::bad_alloc&) {
    std::printf("bad_alloc\n");
  }
}

void Race(const std::string&) {
  constexpr std::size_t kThreads = 8;
  std::atomic<std::size_t> waiting{kThreads};
  std::vector<tessmar::Logger*> instances(kThreads);
  std::vector<std::thread> threads;
  for (tessmar::Logger*& instance : instances) {
    threads.emplace_back([&waiting, &instance] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      instance = &tessmar::Logger::Instance("spdlog");
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::set<tessmar::Logger*> distinct(instances.begin(), instances.end());
  std::printf("instances=%zu\n", distinct.size());
}

void SetEnvironment(const std::string& assignment) {
  const std::size_t equals = assignment.find('=');
  setenv(assignment.substr(0, equals).c_str(), assignment.substr(equals + 1).c_str(), 1);
}

const char* KindOf(const spdlog::sink_ptr& sink) {
  using Console = spdlog::sinks::ansicolor_stdout_sink<spdlog::details::console_mutex>;
  using Journal = spdlog::sinks::systemd_sink<std::mutex>;
  if (auto* console = dynamic_cast<Console*>(sink.get())) {
    return console->should_color() ? "colour-console" : "console";
  }
  return dynamic_cast<Journal*>(sink.get()) != nullptr ? "journal" : "other";
}

void PrintState(const std::string&) {
  const tessmar::Logger& instance = tessmar::Logger::Instance("spdlog");
  std::string sinks;
  for (const spdlog::sink_ptr& sink : instance.logger->sinks()) {
    sinks += std::string(sinks.empty() ? "" : ",") + KindOf(sink);
  }
  std::printf("name=%s sinks=%s level=%d logger_level=%d sequence=%d registered=%d\n",
              instance.logger->name().c_str(), sinks.c_str(), static_cast<int>(instance.level),
              static_cast<int>(instance.logger->level()), int{instance.sequence},
              spdlog::get(instance.logger->name()) != nullptr ? 1 : 0);
}

class Witness : public spdlog::sinks::sink {
 public:
  ~Witness() override { std::printf("released\n"); }
  void log(const spdlog::details::log_msg& /*message*/) override {}
  void flush() override {}
  void set_pattern(const std::string& /*pattern*/) override {}
  void set_formatter(std::unique_ptr<spdlog::formatter> /*formatter*/) override {}
};

void AddWitness(const std::string&) {
  tessmar::Logger::Instance("spdlog").logger->sinks().push_back(std::make_shared<Witness>());
}

void PrintLines(const std::string&) {
  std::printf("debug=%d info=%d error=%d\n", debug_line, info_line, error_line);
}

}  // namespace

void __wrap__ZN6spdlog6logger9set_levelENS_5level10level_enumE(spdlog::logger* logger,
                                                               spdlog::level::level_enum level) {
  std::string failure;
  failure.swap(next_failure);
  if (failure == "spdlog_ex") throw spdlog::spdlog_ex("asked for");
  if (failure == "bad_alloc") throw std::bad_alloc();
  __real__ZN6spdlog6logger9set_levelENS_5level10level_enumE(logger, level);
}

int main(int argc, char** argv) {
  const std::map<std::string, std::function<void(const std::string&)>> commands{
      {"debug", LogDebug},          {"info", LogInfo},
      {"error", LogError},          {"repeat", Repeat},
      {"instance", AskForInstance}, {"race", Race},
      {"setenv", SetEnvironment},   {"fail", [](const std::string& what) { next_failure = what; }},
      {"state", PrintState},        {"lines", PrintLines},
      {"witness", AddWitness}};
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const std::size_t colon = argument.find(':');
    const auto command = commands.find(argument.substr(0, colon));
    if (command == commands.end()) {
      std::fprintf(stderr, "logger_probe: unknown command '%s'\n", argument.c_str());
      return 2;
    }
    command->second(colon == std::string::npos ? "" : argument.substr(colon + 1));
  }
  return 0;
}

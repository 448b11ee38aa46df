#include "support/running_program.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace dirty_seg::test {
namespace {

void Redirect(int descriptor, const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_NOCTTY, 0600);
  if (file < 0 || dup2(file, descriptor) < 0) _exit(126);
}

[[noreturn]] void Become(std::vector<std::string> words) {
  for (const char* name : {"SPDLOG_STDOUT", "SPDLOG_SYSTEMD", "SPDLOG_LEVEL"}) unsetenv(name);
  for (const int signal : {SIGINT, SIGTERM}) std::signal(signal, SIG_DFL);
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  execvp(pointers[0], pointers.data());
  _exit(127);
}

}  // namespace

RunningProgram::RunningProgram(const std::vector<std::string>& arguments,
                               const std::string& output_path, const std::string& errors_path) {
  // A cross build's program runs under the emulator that CMake was given.
  std::istringstream launcher(DIRTY_SEG_LAUNCHER);
  std::vector<std::string> words;
  for (std::string word; launcher >> word;) words.push_back(word);
  words.emplace_back(DIRTY_SEG_PROGRAM);
  words.insert(words.end(), arguments.begin(), arguments.end());
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  process_ = fork();
  if (process_ < 0) throw std::runtime_error("no process");
  if (process_ == 0) {
    dup2(ends[0], STDIN_FILENO);
    Redirect(STDOUT_FILENO, output_path);
    Redirect(STDERR_FILENO, errors_path);
    Become(std::move(words));
  }
  close(ends[0]);
  input_ = ends[1];
}

RunningProgram::~RunningProgram() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    Wait();
  }
}

void RunningProgram::WriteInput(const std::string& text) const {
  if (write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    throw std::runtime_error("the program reads no input");
  }
}

void RunningProgram::Signal(int signal) const { kill(process_, signal); }

int RunningProgram::Wait() {
  int status = 0;
  waitpid(process_, &status, 0);
  close(input_);
  process_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool WaitUntil(const std::function<bool()>& condition) {
  using std::chrono::steady_clock;
  const auto end = steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    if (steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

}  // namespace dirty_seg::test

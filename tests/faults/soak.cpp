// Runs for long and looks at the process all the while.
//
//   soak double FRAMES              frames on the scripted engine
//   soak network FRAMES HOST MODEL  frames on a real network, by the module HOST
//   soak load TIMES HOST MODEL      loads HOST and with it the libraries, runs a frame, unloads
//
// After the first hundred (a tenth, if these are fewer), memory may grow by no more than noise, and
// open files and threads not at all. Exit status 1 when one does, or when a frame goes wrong.
#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "scripted_frame.h"
#include "support/memory_file.h"
#include "support/process.h"

namespace {

using nuvik::perception::dirty_seg_detector::DirtySegDetector;

// What freed blocks leave to the allocator's mood; a leak of 1 KB per frame is found after 4000.
constexpr long kNoiseKilobytes = 4096;
constexpr int kEngineThreads = 2;

// What the process holds, at the end of the warm-up and at its most since.
class Watch {
 public:
  explicit Watch(int rounds) : warm_up_(std::min(100, rounds / 10)) {}

  void Look() {
    const long kilobytes = nuvik::test::ResidentKilobytes();
    const std::size_t files = nuvik::test::OpenFiles();
    const std::size_t threads = nuvik::test::ThreadCount();
    if (++rounds_ <= warm_up_) {
      first_kilobytes_ = std::max(first_kilobytes_, kilobytes);
      first_files_ = std::max(first_files_, files);
      first_threads_ = std::max(first_threads_, threads);
    }
    most_kilobytes_ = std::max(most_kilobytes_, kilobytes);
    most_files_ = std::max(most_files_, files);
    most_threads_ = std::max(most_threads_, threads);
  }

  std::size_t most_threads() const { return most_threads_; }

  bool IsFlat() const {
    std::printf(
        "soak: %d rounds; resident %ld KB after %d, most since %ld KB; open files %zu, then %zu; "
        "threads %zu, then %zu\n",
        rounds_, first_kilobytes_, warm_up_, most_kilobytes_, first_files_, most_files_,
        first_threads_, most_threads_);
    return most_kilobytes_ <= first_kilobytes_ + kNoiseKilobytes && most_files_ <= first_files_ &&
           most_threads_ <= first_threads_;
  }

 private:
  int warm_up_;
  int rounds_ = 0;
  long first_kilobytes_ = 0;
  long most_kilobytes_ = 0;
  std::size_t first_files_ = 0;
  std::size_t most_files_ = 0;
  std::size_t first_threads_ = 0;
  std::size_t most_threads_ = 0;
};

int Fail(const char* what) {
  std::printf("soak: FAILED: %s\n", what);
  return 1;
}

using RunFrames = int (*)(const char* model, int threads, int frames, void (*after_frame)());

// A loaded host; nothing when it cannot be.
class Host {
 public:
  explicit Host(const char* path) : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) std::printf("soak: %s\n", dlerror());
  }
  ~Host() {
    if (handle_ != nullptr) dlclose(handle_);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  RunFrames run_frames() const {
    return handle_ == nullptr ? nullptr : reinterpret_cast<RunFrames>(dlsym(handle_, "RunFrames"));
  }

 private:
  void* handle_;
};

int SoakDouble(int frames) {
  faults::ScriptFrame();
  const nuvik::test::MemoryFile yaml{std::string(faults::kTwoPatches)};
  DirtySegDetector detector;
  if (!detector.Init(faults::ScriptedConfig(yaml.path()))) return Fail("Init");
  const faults::ImageMap images = faults::Frame();
  Watch watch(frames);
  for (int i = 0; i < frames; ++i) {
    std::shared_ptr<faults::DirtyStatusResultData> result;
    if (!detector.DoInference(images, result) || !faults::IsWhole(*result)) return Fail("a frame");
    scripted_engine::Reset();  // it keeps a list of calls
    faults::ScriptFrame();
    watch.Look();
  }
  return watch.IsFlat() ? 0 : Fail("the process grew");
}

Watch* network_watch = nullptr;

int SoakNetwork(int frames, const char* host_path, const char* model) {
  const std::size_t before = nuvik::test::ThreadCount();
  const Host host(host_path);
  if (host.run_frames() == nullptr) return Fail("the host cannot be loaded");
  Watch watch(frames);
  network_watch = &watch;
  const int found = host.run_frames()(model, kEngineThreads, frames, [] { network_watch->Look(); });
  if (found != frames) return Fail("a frame");
  if (watch.most_threads() != before + kEngineThreads - 1) {
    return Fail("there are other threads than the engine was set to use");
  }
  return watch.IsFlat() ? 0 : Fail("the process grew");
}

int SoakLoad(int times, const char* host_path, const char* model) {
  Watch watch(times);
  for (int i = 0; i < times; ++i) {
    {
      const Host host(host_path);
      if (host.run_frames() == nullptr) return Fail("the host cannot be loaded");
      if (host.run_frames()(model, kEngineThreads, 1, nullptr) != 1) return Fail("a frame");
    }
    watch.Look();
  }
  return watch.IsFlat() ? 0 : Fail("the process grew");
}

}  // namespace

int main(int argc, char** argv) try {
  setenv("SPDLOG_STDOUT", "false", 1);
  const std::string kind = argc > 1 ? argv[1] : "";
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 0;
  if (rounds > 0 && kind == "double") return SoakDouble(rounds);
  if (rounds > 0 && argc == 5 && kind == "network") return SoakNetwork(rounds, argv[3], argv[4]);
  if (rounds > 0 && argc == 5 && kind == "load") return SoakLoad(rounds, argv[3], argv[4]);
  std::fprintf(stderr, "usage: soak double FRAMES | soak network|load ROUNDS HOST MODEL\n");
  return 2;
} catch (const std::exception& error) {
  return Fail(error.what());
}

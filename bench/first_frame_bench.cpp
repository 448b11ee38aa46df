// The first frame after initialisation against later ones. Each detector runs in a process of its
// own: a second one in the same process would find the allocator's pages, OpenCV and the caches
// warmed by the first.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <exception>
#include <stdexcept>

#include "bench/frame.h"
#include "bench/quiet.h"

namespace {

using namespace bench;

constexpr std::size_t kLaterFrames = 3;

struct Run {
  double first_seconds;
  std::array<double, kLaterFrames> later_seconds;
  long peak_kilobytes;
};

double ProcessorSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

Run Measure() {
  const ImageMap frame = MakeFrame();
  DirtySegDetector detector;
  InitDetector(detector, 1);
  const auto run_frame = [&] {
    const double before = ProcessorSeconds();
    RunFrame(detector, frame);
    return ProcessorSeconds() - before;
  };
  Run run{};
  run.first_seconds = run_frame();
  for (double& seconds : run.later_seconds) seconds = run_frame();
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  run.peak_kilobytes = usage.ru_maxrss;
  return run;
}

[[noreturn]] void MeasureInto(int pipe) {
  try {
    const Run run = Measure();
    _exit(write(pipe, &run, sizeof(run)) == sizeof(run) ? 0 : 1);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    _exit(1);
  }
}

Run MeasureInNewProcess() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) throw std::runtime_error("no pipe to a new process");
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no new process");
  if (child == 0) MeasureInto(ends[1]);
  close(ends[1]);
  Run run{};
  const bool is_read = read(ends[0], &run, sizeof(run)) == sizeof(run);
  close(ends[0]);
  waitpid(child, nullptr, 0);
  if (!is_read) throw std::runtime_error("the new process failed");
  return run;
}

void First(benchmark::State& state) {
  for (auto _ : state) state.SetIterationTime(MeasureInNewProcess().first_seconds);
}

// The median of the later frames, and the process's peak resident memory.
void Later(benchmark::State& state) {
  Run run{};
  for (auto _ : state) {
    run = MeasureInNewProcess();
    std::sort(run.later_seconds.begin(), run.later_seconds.end());
    state.SetIterationTime(run.later_seconds[kLaterFrames / 2]);
  }
  state.counters["peak_resident_MiB"] = static_cast<double>(run.peak_kilobytes) / 1024.0;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::RegisterBenchmark("FirstFrame/first", First)->UseManualTime()->Iterations(1);
  benchmark::RegisterBenchmark("FirstFrame/later", Later)->UseManualTime()->Iterations(1);
  return RunQuietly(argc, argv);
}

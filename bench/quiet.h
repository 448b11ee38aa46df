// What every benchmark of the detector needs before its first log call.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <opencv2/core/utility.hpp>

/// One core, and no log lines in the measured time.
inline int RunQuietly(int argc, char** argv) {
  setenv("SPDLOG_STDOUT", "false", 1);
  setenv("SPDLOG_SYSTEMD", "false", 1);
  setenv("SPDLOG_LEVEL", "info", 1);
  cv::setNumThreads(1);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

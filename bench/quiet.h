// The main function of every benchmark program.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <opencv2/core/utility.hpp>

namespace bench {

/// Runs what is registered, on one core and without log lines. Returns the exit status: 1 when a
/// side throws because it did not do the other's work.
inline int RunQuietly(int argc, char** argv) try {
  setenv("SPDLOG_STDOUT", "false", 1);
  setenv("SPDLOG_SYSTEMD", "false", 1);
  setenv("SPDLOG_LEVEL", "info", 1);
  cv::setNumThreads(1);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
} catch (const std::exception& error) {
  std::cerr << argv[0] << ": " << error.what() << '\n';
  return 1;
}

}  // namespace bench

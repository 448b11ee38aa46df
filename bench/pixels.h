// Pictures and tensors that the benchmarks of the input share.
#pragma once

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <opencv2/core.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/ai_engine.h"

namespace bench {

inline cv::Mat Noise(const cv::Size& size) {
  cv::Mat image(size, CV_8UC3);
  cv::RNG random(1);
  random.fill(image, cv::RNG::UNIFORM, 0, 256);
  return image;
}

inline nuvik::alg::common::AIBuff Tensor(std::size_t floats) {
  nuvik::alg::common::AIBuff buffer;
  buffer.data->resize(floats * sizeof(float));
  return buffer;
}

/// The sides' formulas round differently, by a few units of the last place.
inline void RequireEqual(const float* a, const float* b, std::size_t count, float tolerance) {
  for (std::size_t i = 0; i < count; ++i) {
    if (!(std::abs(a[i] - b[i]) <= tolerance)) {
      throw std::runtime_error("both sides wrote different tensors");
    }
  }
}

/// "NAME_640x480"
inline std::string Sized(const char* name, const cv::Size& size) {
  return std::string(name) + "_" + std::to_string(size.width) + "x" + std::to_string(size.height);
}

/// A side: the copy of a tensor's bytes, which no way of writing it can beat.
inline void Copy(benchmark::State& state, std::size_t floats) {
  const std::vector<float> source(floats, 1.0F);
  std::vector<float> target(floats);
  for (auto _ : state) {
    std::memcpy(target.data(), source.data(), floats * sizeof(float));
    benchmark::ClobberMemory();
  }
}

}  // namespace bench

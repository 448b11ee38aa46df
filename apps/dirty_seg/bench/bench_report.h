// Report of a measurement, as text and as JSON.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "bench/bench.h"

namespace dirty_seg {

/// Times with percentiles, frames per second, peak memory; of two sides also the ratio of their
/// medians and how far their results differ. `result` has at least one frame.
std::string BenchText(const BenchPlan& plan, const BenchResult& result);

/// The same, with `program` as the program's name and version.
nlohmann::ordered_json BenchToJson(const std::string& program, const BenchPlan& plan,
                                   const BenchResult& result);

}  // namespace dirty_seg

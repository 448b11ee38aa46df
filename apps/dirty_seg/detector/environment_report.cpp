#include "detector/environment_report.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <link.h>
#include <sched.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <opencv2/core/hal/intrin.hpp>
#include <thread>
#include <vector>

#include "base/nearest.h"
#include "base/printable.h"
#include "base/text.h"
#include "detector/detector_setup.h"
#include "detector/log_capture.h"
#include "engine/ai_engine.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

// ---- Versions and libraries ---------------------------------------------------------------------

// The beginning of ONNX Runtime's API base, fixed since its first release. The program is not
// linked with it: the engine loads it.
struct RuntimeBase {
  const void* (*api)(std::uint32_t version);
  const char* (*version)();
};

std::string RuntimeVersion() {
  using GetBase = const RuntimeBase* (*)();
  void* const symbol = dlsym(RTLD_DEFAULT, "OrtGetApiBase");
  if (symbol == nullptr) return "not loaded";
  return reinterpret_cast<GetBase>(symbol)()->version();
}

ordered_json Versions(ordered_json versions) {
  versions["ONNX Runtime"] = RuntimeVersion();
  versions["OpenCV"] = cv::getVersionString();
  versions["nlohmann-json"] = fmt::format("{}.{}.{}", NLOHMANN_JSON_VERSION_MAJOR,
                                          NLOHMANN_JSON_VERSION_MINOR, NLOHMANN_JSON_VERSION_PATCH);
  return versions;
}

int CollectPath(dl_phdr_info* library, std::size_t /*size*/, void* paths) {
  static_cast<std::vector<std::string>*>(paths)->emplace_back(library->dlpi_name);
  return 0;
}

// Another engine of the same name may have been loaded instead of ours.
ordered_json Libraries() {
  std::vector<std::string> paths;
  dl_iterate_phdr(CollectPath, &paths);
  ordered_json libraries;
  for (const char* name : {"libdirty_seg_detector", "libtessmar_ai_engine", "libonnxruntime",
                           "libopencv_core", "libyaml-cpp", "libspdlog"}) {
    for (const std::string& path : paths) {
      if (path.find(std::string("/") + name + ".so") != std::string::npos) libraries[name] = path;
    }
  }
  return libraries;
}

// ---- Processor and threads ----------------------------------------------------------------------

std::string ProcessorName() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    const std::size_t colon = line.find(": ");
    if (line.rfind("model name", 0) == 0 && colon != std::string::npos) {
      return line.substr(colon + 2);
    }
  }
  return "unknown";
}

std::string Architecture() {
#if defined(__x86_64__)
  return "x86-64";
#elif defined(__aarch64__)
  return "64-bit Arm";
#else
  return "another";
#endif
}

// The detector's kernels are written on the same vectors, and built with the same flags.
std::string Kernels() {
#if CV_SIMD128 && defined(__aarch64__)
  return "vectors of 128 bits (NEON), chosen when built";
#elif CV_SIMD128
  return "vectors of 128 bits (SSE2), chosen when built";
#else
  return "no vectors";
#endif
}

int UsableCores() {
  cpu_set_t set;
  CPU_ZERO(&set);
  return sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 0;
}

// Features of this processor that OpenCV looks at when it runs.
std::string Features() {
  std::vector<std::string> present;
  const std::vector<std::pair<int, const char*>> features{
      {CV_CPU_SSE4_1, "SSE4.1"},     {CV_CPU_SSE4_2, "SSE4.2"}, {CV_CPU_AVX, "AVX"},
      {CV_CPU_AVX2, "AVX2"},         {CV_CPU_FMA3, "FMA3"},     {CV_CPU_FP16, "FP16"},
      {CV_CPU_AVX_512F, "AVX-512F"}, {CV_CPU_NEON, "NEON"}};
  for (const auto& [feature, name] : features) {
    if (cv::checkHardwareSupport(feature)) present.emplace_back(name);
  }
  if (present.empty()) return "none beyond the base";
  return Join(present);
}

ordered_json Processor() {
  return {{"name", ProcessorName()},
          {"architecture", Architecture()},
          {"features", Features()},
          {"kernels", Kernels()},
          {"cores", static_cast<int>(std::thread::hardware_concurrency())},
          {"usable_cores", UsableCores()}};
}

ordered_json Threads(int threads) {
  SetThreads(threads);
  const int cores = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  return {{"asked", threads},
          {"network", threads == 0 ? std::min(cores, nuvik::alg::common::kAIMaxThreads) : threads},
          {"opencv", cv::getNumThreads()},
          {"detector", 1}};
}

// ---- Log settings -------------------------------------------------------------------------------

struct LogVariable {
  const char* name;
  std::vector<std::string> values;
  const char* fallback;
  const char* meaning;
};

const std::vector<LogVariable>& LogVariables() {
  static const std::vector<LogVariable> variables{
      {"SPDLOG_STDOUT", {"true", "false"}, "true", "lines on standard output"},
      {"SPDLOG_SYSTEMD", {"true", "false"}, "false", "entries in the systemd journal"},
      {"SPDLOG_LEVEL",
       {"trace", "debug", "info", "warning", "error", "critical"},
       "info",
       "least level shown"}};
  return variables;
}

ordered_json Log() {
  ordered_json log;
  for (const LogVariable& variable : LogVariables()) {
    const char* value = std::getenv(variable.name);
    log[variable.name] = {{"value", value == nullptr ? ordered_json() : ordered_json(value)},
                          {"meaning", LogSettingText(variable.name, value)}};
  }
  return log;
}

}  // namespace

std::string LogSettingText(const std::string& variable, const char* value) {
  for (const LogVariable& known : LogVariables()) {
    if (known.name != variable) continue;
    const std::vector<std::string>& values = known.values;
    const std::string text = value == nullptr ? "" : value;
    if (value == nullptr) {
      return fmt::format("not set: {} ({})", known.fallback, known.meaning);
    }
    if (std::find(values.begin(), values.end(), text) != values.end()) {
      return fmt::format("{} ({})", text, known.meaning);
    }
    if (variable == "SPDLOG_LEVEL" && IsLogLevel(text)) {
      return fmt::format("{} ({}; the library by itself takes {})", text, known.meaning,
                         known.fallback);
    }
    return fmt::format("'{}' is not one of {}, so {}{}", text, fmt::join(values, ", "),
                       known.fallback, DidYouMean(text, values));
  }
  return "";
}

ordered_json EnvironmentJson(const ordered_json& versions, int threads) {
  return {{"versions", Versions(versions)},
          {"libraries", Libraries()},
          {"processor", Processor()},
          {"threads", Threads(threads)},
          {"log", Log()}};
}

std::string EnvironmentText(const ordered_json& environment) {
  constexpr std::size_t kWidth = 24;
  std::string text;
  for (const auto& [section, entries] : environment.items()) {
    text += section + "\n";
    for (const auto& [key, entry] : entries.items()) {
      const ordered_json& value = entry.is_object() ? entry["meaning"] : entry;
      text += "  " + key + std::string(kWidth - std::min(kWidth - 1, key.size()), ' ') +
              (value.is_string() ? Printable(value.get<std::string>()) : value.dump()) + "\n";
    }
  }
  return text;
}

}  // namespace dirty_seg

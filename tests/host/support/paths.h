// Files whose paths the build passes to the tests.
#pragma once

#include <string>

namespace dirty_seg::test {

/// Networks of all tests, and those of the host's.
inline std::string CommonNetwork(const std::string& name) {
  return DIRTY_SEG_COMMON_NETWORKS "/" + name + ".onnx";
}
inline std::string HostNetwork(const std::string& name) {
  return DIRTY_SEG_HOST_NETWORKS "/" + name + ".onnx";
}

}  // namespace dirty_seg::test

# Makes the build of scripts/mutate.sh quick: the headers that dominate it are compiled once.
# Included by project() through CMAKE_PROJECT_dirty_seg_detector_INCLUDE.
cmake_language(DEFER CALL target_precompile_headers dirty_seg_detector_objects PRIVATE
  <algorithm> <map> <memory> <opencv2/core/hal/intrin.hpp> <opencv2/imgproc.hpp> <spdlog/logger.h>
  <string> <vector> <yaml-cpp/yaml.h>)
cmake_language(DEFER CALL target_precompile_headers dirty_seg_network PRIVATE
  <algorithm> <map> <memory> <string> <vector> <yaml-cpp/yaml.h>)
cmake_language(DEFER CALL target_precompile_headers dirty_seg_decode PRIVATE
  <algorithm> <map> <memory> <opencv2/core.hpp> <opencv2/core/hal/intrin.hpp> <string> <vector>
  <yaml-cpp/yaml.h>)
cmake_language(DEFER CALL target_precompile_headers dirty_seg_engine PRIVATE
  <algorithm> <map> <memory> <onnxruntime_cxx_api.h> <string> <vector> <yaml-cpp/yaml.h>)
# The detector's one source takes the compiler longest.
cmake_language(DEFER CALL target_compile_options dirty_seg_detector_objects PRIVATE -g0 -O0)
cmake_language(DEFER CALL target_compile_options dirty_seg_geometry PRIVATE -g0)
cmake_language(DEFER CALL target_compile_options dirty_seg_network PRIVATE -g0)
cmake_language(DEFER CALL target_compile_options dirty_seg_decode PRIVATE -g0)
cmake_language(DEFER CALL target_compile_options dirty_seg_engine PRIVATE -g0)
cmake_language(DEFER CALL target_compile_options dirty_seg_records PRIVATE -g0)

# Finds ONNX Runtime: an installed release if it is new enough, else what scripts/setup.sh fetched.
#
# An installed release is searched where ONNXRuntime_ROOT, CMAKE_PREFIX_PATH, onnxruntime_DIR and
# pkg-config's libonnxruntime point, and in the system's folders. It is known by its files, not by
# its own CMake package: up to 1.23, the official archives carry one that names folders the
# archives do not have, which would end the configuration.
#
# Gives
#   ONNXRuntime::ONNXRuntime      imported shared library
#   ONNXRuntime_FOUND, ONNXRuntime_VERSION
#   ONNXRuntime_LIBRARY, ONNXRuntime_INCLUDE_DIR
#   ONNXRuntime_FROM_THIRD_PARTY  TRUE: the fetched one, which a package of ours has to carry along
#   ONNXRuntime_LICENSE_FILES     texts to carry along with it; empty for an installed release

# Sets OUT to the version that a library's versioned file name gives (libonnxruntime.so.1.23.2),
# or to nothing.
function(_onnxruntime_version_from_file LIBRARY OUT)
  get_filename_component(real_path "${LIBRARY}" REALPATH)
  if(real_path MATCHES "\\.so\\.([0-9]+\\.[0-9]+\\.[0-9]+)$")
    set(${OUT} "${CMAKE_MATCH_1}" PARENT_SCOPE)
  else()
    set(${OUT} "" PARENT_SCOPE)
  endif()
endfunction()

# Sets ONNXRuntime_LIBRARY, _INCLUDE_DIR and _VERSION when an installed release is complete.
macro(_onnxruntime_find_installed)
  find_package(PkgConfig QUIET)
  # The host's pkg-config knows nothing of a target machine unless the environment points it there.
  if(PkgConfig_FOUND AND (NOT CMAKE_CROSSCOMPILING OR DEFINED ENV{PKG_CONFIG_LIBDIR}))
    pkg_check_modules(_onnxruntime_pc QUIET libonnxruntime)
  endif()
  find_library(ONNXRuntime_LIBRARY onnxruntime
    HINTS "${onnxruntime_DIR}/../.." ${_onnxruntime_pc_LIBRARY_DIRS}
    DOC "ONNX Runtime's shared library")
  if(ONNXRuntime_LIBRARY)
    # Beside that library only: headers of another release must not be mixed in.
    get_filename_component(_onnxruntime_lib_dir "${ONNXRuntime_LIBRARY}" DIRECTORY)
    find_path(ONNXRuntime_INCLUDE_DIR onnxruntime_cxx_api.h
      HINTS "${_onnxruntime_lib_dir}/../include" "${_onnxruntime_lib_dir}/../../include"
            ${_onnxruntime_pc_INCLUDE_DIRS}
      PATH_SUFFIXES onnxruntime onnxruntime/core/session
      NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH
      DOC "Folder of onnxruntime_cxx_api.h")
    _onnxruntime_version_from_file("${ONNXRuntime_LIBRARY}" ONNXRuntime_VERSION)
  endif()
endmacro()

# Sets the results to the fetched files for the target processor when they are all there, else
# _onnxruntime_hint to what to do.
macro(_onnxruntime_find_third_party)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64|AMD64)$")
    set(_onnxruntime_processor x64)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    set(_onnxruntime_processor arm64)
  else()
    set(_onnxruntime_processor "")
  endif()

  # Full paths and plain tests for existence: a toolchain file's search rules do not apply here.
  get_filename_component(_onnxruntime_modules
    "${CMAKE_CURRENT_LIST_DIR}/../third_party/onnxruntime/node_modules" ABSOLUTE)
  set(_onnxruntime_node "${_onnxruntime_modules}/onnxruntime-node")
  set(_onnxruntime_unity "${_onnxruntime_modules}/com.github.asus4.onnxruntime")
  set(_onnxruntime_library
    "${_onnxruntime_node}/bin/napi-v6/linux/${_onnxruntime_processor}/libonnxruntime.so.1")
  # The package has the same 13 headers three times, byte for byte; this copy's path has no
  # symbolic link in it and its platform no variants.
  string(CONCAT _onnxruntime_include "${_onnxruntime_unity}/Plugins/iOS~/onnxruntime.xcframework/"
    "ios-arm64/onnxruntime.framework/Headers")

  if(NOT CMAKE_SYSTEM_NAME STREQUAL "Linux" OR _onnxruntime_processor STREQUAL "")
    string(CONCAT _onnxruntime_hint "For ${CMAKE_SYSTEM_NAME} on '${CMAKE_SYSTEM_PROCESSOR}' there "
      "is none to fetch (only for Linux on x86_64 and aarch64): install a release of ONNX Runtime "
      "and point ONNXRuntime_ROOT at it.")
  elseif(NOT EXISTS "${_onnxruntime_library}" OR
         NOT EXISTS "${_onnxruntime_include}/onnxruntime_cxx_api.h")
    string(CONCAT _onnxruntime_hint "Run scripts/setup.sh, which fetches it, or install a release "
      "of ONNX Runtime and point ONNXRuntime_ROOT at it.")
  else()
    set(ONNXRuntime_LIBRARY "${_onnxruntime_library}")
    set(ONNXRuntime_INCLUDE_DIR "${_onnxruntime_include}")
    file(READ "${_onnxruntime_node}/package.json" _onnxruntime_package)
    string(JSON ONNXRuntime_VERSION GET "${_onnxruntime_package}" version)
    set(ONNXRuntime_LICENSE_FILES
      "${_onnxruntime_unity}/LICENSE" "${_onnxruntime_unity}/ThirdPartyNotices.txt")
    set(ONNXRuntime_FROM_THIRD_PARTY TRUE)
  endif()
endmacro()

set(ONNXRuntime_FROM_THIRD_PARTY FALSE)
set(ONNXRuntime_LICENSE_FILES "")
set(_onnxruntime_hint "")
_onnxruntime_find_installed()
if(NOT ONNXRuntime_LIBRARY OR NOT ONNXRuntime_INCLUDE_DIR OR
   ONNXRuntime_VERSION VERSION_LESS "${ONNXRuntime_FIND_VERSION}")
  _onnxruntime_find_third_party()
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(ONNXRuntime
  REQUIRED_VARS ONNXRuntime_LIBRARY ONNXRuntime_INCLUDE_DIR
  VERSION_VAR ONNXRuntime_VERSION
  REASON_FAILURE_MESSAGE "${_onnxruntime_hint}")
mark_as_advanced(ONNXRuntime_LIBRARY ONNXRuntime_INCLUDE_DIR)

if(ONNXRuntime_FOUND AND NOT TARGET ONNXRuntime::ONNXRuntime)
  add_library(ONNXRuntime::ONNXRuntime SHARED IMPORTED)
  set_target_properties(ONNXRuntime::ONNXRuntime PROPERTIES
    IMPORTED_LOCATION "${ONNXRuntime_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${ONNXRuntime_INCLUDE_DIR}")
endif()

# Builds the detector against an installed engine in a fresh folder, and a host program against both.
#
# Given: REPOSITORY, WORK (the folder to use), ENGINE_LIBRARY, GENERATOR, READELF, OPTIONS (further
# definitions for both builds) and, when cross-compiling, EMULATOR.

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output
    ERROR_VARIABLE output)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what} failed (${status}):\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK}")

# Looking for ONNX Runtime is forbidden, which makes a required find_package an error.
run("Configuring the detector"
  "${CMAKE_COMMAND}" -S "${REPOSITORY}" -B "${WORK}/detector" -G "${GENERATOR}" ${OPTIONS}
  "-DDIRTY_SEG_ENGINE_LIBRARY=${ENGINE_LIBRARY}" -DDIRTY_SEG_DEVELOPER=OFF
  -DCMAKE_DISABLE_FIND_PACKAGE_ONNXRuntime=ON)
run("Building the detector"
  "${CMAKE_COMMAND}" --build "${WORK}/detector" --target dirty_seg_detector)

file(STRINGS "${WORK}/detector/compile_commands.json" traces REGEX "[Oo][Nn][Nn][Xx]")
if(traces)
  message(FATAL_ERROR "ONNX Runtime takes part in the build of the detector:\n${traces}")
endif()

set(detector "${WORK}/detector/lib/libdirty_seg_detector.so")
run("Reading the dynamic section" "${READELF}" --dynamic "${detector}")
if(NOT output MATCHES "\\(NEEDED\\)[^\n]*\\[libtessmar_ai_engine\\.so\\]")
  message(FATAL_ERROR "The detector does not need libtessmar_ai_engine.so:\n${output}")
endif()
if(output MATCHES "\\(NEEDED\\)[^\n]*onnx")
  message(FATAL_ERROR "The detector needs ONNX Runtime:\n${output}")
endif()

run("Configuring the host"
  "${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}" -B "${WORK}/host" -G "${GENERATOR}" ${OPTIONS}
  "-DREPOSITORY=${REPOSITORY}" "-DDETECTOR_LIBRARY=${detector}"
  "-DENGINE_LIBRARY=${ENGINE_LIBRARY}")
run("Building the host" "${CMAKE_COMMAND}" --build "${WORK}/host")
run("The host" ${EMULATOR} "${WORK}/host/host" "${WORK}/host.yaml")
message(STATUS "${output}")

# Installed, the detector's CMake package has to find the engine, which is elsewhere.
run("Installing the detector"
  "${CMAKE_COMMAND}" --install "${WORK}/detector" --prefix "${WORK}/prefix")
file(GLOB_RECURSE engines "${WORK}/prefix/*tessmar_ai_engine.so*")
if(engines)
  message(FATAL_ERROR "The engine, which is another's, was installed: ${engines}")
endif()
file(GLOB_RECURSE package "${WORK}/prefix/*/DirtySegDetectorConfig.cmake")
get_filename_component(package_dir "${package}" DIRECTORY)
set(configure_installed "${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}/installed" -G "${GENERATOR}"
  ${OPTIONS} "-DREPOSITORY=${REPOSITORY}" "-DDirtySegDetector_DIR=${package_dir}")

execute_process(COMMAND ${configure_installed} -B "${WORK}/refused"
  RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
string(REGEX REPLACE "[ \n]+" " " output "${output}")
if(status EQUAL 0 OR NOT output MATCHES "set DirtySegDetector_ENGINE_LIBRARY to its path")
  message(FATAL_ERROR "Without an engine, expected an error that says what to set:\n${output}")
endif()

get_filename_component(engine_dir "${ENGINE_LIBRARY}" DIRECTORY)
if(EMULATOR)  # libraries are searched only in the sysroot
  set(where "-DDirtySegDetector_ENGINE_LIBRARY=${ENGINE_LIBRARY}")
else()
  set(where "-DCMAKE_LIBRARY_PATH=${engine_dir}")
endif()
run("Configuring the host of the installed detector"
  ${configure_installed} -B "${WORK}/installed_host" "${where}")
run("Building the host of the installed detector" "${CMAKE_COMMAND}" --build "${WORK}/installed_host")
run("The host of the installed detector"
  ${EMULATOR} "${WORK}/installed_host/host" "${WORK}/host.yaml")
message(STATUS "${output}")

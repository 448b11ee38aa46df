# Prints what a release target takes on a robot's disk whenever it is linked.
#   print_stripped_size(TARGET)
# The file is also the script that the build then runs:
#   cmake -DFILE=libx.so -DSTRIP=/usr/bin/strip -P StrippedSize.cmake
if(CMAKE_SCRIPT_MODE_FILE)
  set(stripped "${FILE}.stripped")
  execute_process(COMMAND "${STRIP}" -o "${stripped}" "${FILE}" COMMAND_ERROR_IS_FATAL ANY)
  file(SIZE "${stripped}" bytes)
  file(REMOVE "${stripped}")
  get_filename_component(name "${FILE}" NAME)
  message("${name}: ${bytes} bytes stripped")
  return()
endif()

function(print_stripped_size TARGET)
  if(CMAKE_STRIP AND CMAKE_BUILD_TYPE STREQUAL "Release")
    add_custom_command(TARGET ${TARGET} POST_BUILD
      COMMAND "${CMAKE_COMMAND}" "-DFILE=$<TARGET_FILE:${TARGET}>" "-DSTRIP=${CMAKE_STRIP}"
        -P "${CMAKE_CURRENT_FUNCTION_LIST_FILE}"
      VERBATIM)
  endif()
endfunction()

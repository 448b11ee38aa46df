# gzip_file(SOURCE NAME): NAME in the build folder is SOURCE, packed the same way at any time.
find_program(GZIP_EXECUTABLE gzip REQUIRED)
mark_as_advanced(GZIP_EXECUTABLE)

function(gzip_file SOURCE NAME)
  add_custom_command(OUTPUT "${PROJECT_BINARY_DIR}/${NAME}"
    COMMAND "${GZIP_EXECUTABLE}" -9nc "${SOURCE}" > "${PROJECT_BINARY_DIR}/${NAME}"
    DEPENDS "${SOURCE}" VERBATIM)
  add_custom_target("packed_${NAME}" ALL DEPENDS "${PROJECT_BINARY_DIR}/${NAME}")
endfunction()

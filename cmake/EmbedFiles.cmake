# embed_files(OUTPUT NAME=FILE...): writes a C++ source that defines dirty_seg::EmbeddedFile
# (report/embedded_files.h) with these files' bytes, anew whenever one of them changes.
# The file is also the script that the build then runs.
if(CMAKE_SCRIPT_MODE_FILE)
  set(arrays "")
  set(entries "")
  set(number 0)
  foreach(entry IN LISTS ENTRIES)
    string(REGEX MATCH "^([^=]+)=(.+)$" matched "${entry}")
    file(READ "${CMAKE_MATCH_2}" bytes HEX)
    set(name "${CMAKE_MATCH_1}")
    # A last line "//# sourceMappingURL=..." names a file that is not there.
    string(REGEX REPLACE "2f2f2320736f757263654d617070696e6755524c3d[0-9a-f]*$" "" bytes "${bytes}")
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    string(APPEND arrays "const unsigned char kBytes${number}[] = {${bytes}0};\n")
    string(APPEND entries "    {\"${name}\", kBytes${number}, sizeof(kBytes${number}) - 1},\n")
    math(EXPR number "${number} + 1")
  endforeach()
  file(WRITE "${OUTPUT}" "// Made by cmake/EmbedFiles.cmake.
#include <stdexcept>
#include <string>

#include \"report/embedded_files.h\"

namespace dirty_seg {
namespace {

${arrays}
struct Entry {
  std::string_view name;
  const unsigned char* bytes;
  std::size_t size;
};
const Entry kEntries[] = {
${entries}};

}  // namespace

std::string_view EmbeddedFile(std::string_view name) {
  for (const Entry& entry : kEntries) {
    if (entry.name != name) continue;
    return {reinterpret_cast<const char*>(entry.bytes), entry.size};
  }
  throw std::out_of_range(\"no file '\" + std::string(name) + \"' is embedded\");
}

}  // namespace dirty_seg
")
  return()
endif()

function(embed_files OUTPUT)
  list(TRANSFORM ARGN REPLACE "^[^=]+=" "" OUTPUT_VARIABLE files)
  add_custom_command(OUTPUT "${OUTPUT}"
    COMMAND "${CMAKE_COMMAND}" "-DOUTPUT=${OUTPUT}" "-DENTRIES=${ARGN}"
      -P "${CMAKE_CURRENT_FUNCTION_LIST_FILE}"
    DEPENDS ${files} "${CMAKE_CURRENT_FUNCTION_LIST_FILE}" VERBATIM)
endfunction()

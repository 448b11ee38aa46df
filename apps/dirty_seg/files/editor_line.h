// The comment by which editors find a YAML file's schema.
#pragma once

#include <string>

namespace dirty_seg {

/// "# yaml-language-server: $schema=file:///usr/share/dirty_seg/schema/config.schema.json" and a
/// newline for the schema of that name, "config", if it is installed beside the running program;
/// empty otherwise.
std::string EditorLine(const std::string& schema);

}  // namespace dirty_seg

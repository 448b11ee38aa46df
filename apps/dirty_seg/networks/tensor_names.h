// Gives the inputs and outputs of a network other names.
#pragma once

#include <map>
#include <string>

namespace dirty_seg {

/// Old name to new name.
using TensorNames = std::map<std::string, std::string>;

/// Copies the ONNX file at `input` to `output` with other names for inputs and outputs of its
/// graph, wherever the graph and the subgraphs of its nodes use them; every other byte stays. Two
/// tensors may take each other's name. An existing `output` is replaced.
///
/// Throws SetupError, naming the file and what is wrong: `input` cannot be read or is not an ONNX
/// file; it has no such input or output; a new name is empty, another tensor's, or given twice; it
/// has training graphs; its weights are in files beside it and `output` is in another folder.
/// Throws OutputError where `output` cannot be written.
void RenameTensors(const std::string& input, const std::string& output, const TensorNames& names);

}  // namespace dirty_seg

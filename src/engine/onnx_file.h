// A look at an ONNX file before the runtime gets it.
#pragma once

#include <istream>
#include <string>

#include "network/onnx_description.h"

namespace nuvik::alg::common {

/// Refuses what ONNX Runtime would not answer with an error but by ending the process: attributes
/// that it divides by, inputs that it needs and are left out, functions that make their own inputs
/// or are given more than they have, that call each other too deep or that are too many nodes once
/// they are put in. Throws SessionError, naming the node or function, what was found and what would
/// be right. What is not an ONNX file at all passes: the runtime reports it.
void CheckOnnxFile(std::istream& file);

/// What the file at `path` declares, before the runtime gets it. Throws SessionError in plain words
/// when it is missing, cannot be opened, is no regular file or too large, and as CheckOnnxFile
/// does.
OnnxDescription CheckModelFile(const std::string& path);

}  // namespace nuvik::alg::common

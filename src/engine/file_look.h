// What a file that the runtime refused looks like.
#pragma once

#include <istream>
#include <string>

namespace nuvik::alg::common {

/// Names what is found in place of an ONNX network and what would be right, as the end of a
/// sentence that begins with the file's path: an empty file, a web page, a Git LFS pointer, a file
/// of another kind, a text, an ONNX file that is cut off. Empty if nothing shows what the file is.
std::string LookOfNoNetwork(std::istream& file);

}  // namespace nuvik::alg::common

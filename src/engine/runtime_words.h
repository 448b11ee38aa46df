// What ONNX Runtime says, made fit for people.
#pragma once

#include <string>

namespace nuvik::alg::common {

/// `text` without the places in the runtime's own source code ("/build/onnxruntime/core/x.cc:12
/// onnxruntime::Function(int) ") and the failed condition after each ("a == b was false. "), where
/// a message follows. Nor with line breaks and spaces at its end.
std::string PlainWords(const std::string& text);

}  // namespace nuvik::alg::common

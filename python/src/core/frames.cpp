#include "frames.h"

#include <fmt/format.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

#include "base/text.h"

namespace dirty_seg::python {
namespace {

namespace nb = nanobind;

constexpr const char* kExpected = "expected uint8 [height, width, 3] in B, G, R order";
constexpr std::size_t kChannels = 3;
constexpr auto kMaxSide = static_cast<std::size_t>(std::numeric_limits<int>::max() / 4);

std::string TypeText(const nb::dlpack::dtype& type) {
  const auto name = [&type]() -> const char* {
    switch (static_cast<nb::dlpack::dtype_code>(type.code)) {
      case nb::dlpack::dtype_code::Int:
        return "int";
      case nb::dlpack::dtype_code::UInt:
        return "uint";
      case nb::dlpack::dtype_code::Float:
        return "float";
      case nb::dlpack::dtype_code::Complex:
        return "complex";
      case nb::dlpack::dtype_code::Bool:
        return "bool";
      default:
        return "another type of ";
    }
  };
  return fmt::format("{}{}", name(), type.bits);
}

std::string ShapeText(const AnyArray& array) {
  std::vector<std::string> sides;
  for (std::size_t i = 0; i < array.ndim(); ++i) sides.push_back(std::to_string(array.shape(i)));
  return "[" + Join(sides) + "]";
}

void Check(const AnyArray& array) {
  const auto reject = [](const std::string& found) {
    throw std::invalid_argument(fmt::format("the frame is {}; {}", found, kExpected));
  };
  if (array.device_type() != nb::device::cpu::value) reject("not in host memory");
  if (array.dtype() != nb::dtype<std::uint8_t>()) {
    reject(TypeText(array.dtype()) + " " + ShapeText(array));
  }
  if (array.ndim() != 3 || array.shape(2) != kChannels) reject("uint8 " + ShapeText(array));
  if (array.shape(0) == 0 || array.shape(1) == 0) reject("empty, " + ShapeText(array));
  if (array.shape(0) > kMaxSide || array.shape(1) > kMaxSide) {
    reject("too large, " + ShapeText(array));
  }
}

// The strides of a side of one element mean nothing.
bool IsHeldByOpenCv(const AnyArray& array) {
  const auto row = static_cast<std::int64_t>(array.shape(1) * kChannels);
  return array.stride(2) == 1 && (array.shape(1) == 1 || array.stride(1) == kChannels) &&
         (array.shape(0) == 1 || array.stride(0) >= row);
}

cv::Mat Copy(const AnyArray& array, const cv::Size& size) {
  cv::Mat copy(size, CV_8UC3);
  const auto* const first = static_cast<const std::uint8_t*>(array.data());
  for (int y = 0; y < size.height; ++y) {
    auto* to = copy.ptr<std::uint8_t>(y);
    for (int x = 0; x < size.width; ++x) {
      const std::uint8_t* from = first + y * array.stride(0) + x * array.stride(1);
      for (std::size_t i = 0; i < kChannels; ++i, from += array.stride(2)) *to++ = *from;
    }
  }
  return copy;
}

}  // namespace

AnyArray ArrayOf(nb::handle object) {
  AnyArray array;
  try {
    if (nb::try_cast(object, array, false)) return array;
  } catch (const nb::python_error&) {  // it cannot be exported
  }
  PyErr_Clear();
  if (nb::hasattr(object, "dtype")) {
    const nb::object type = object.attr("dtype");
    const nb::str text(type);
    throw std::invalid_argument(fmt::format("the frame is {}; {}", text.c_str(), kExpected));
  }
  const std::string hint = object.is_none() ? "; a picture that cannot be read is None" : "";
  const std::string text =
      fmt::format("the frame is of type {}; {}{}", nb::str(object.type().attr("__name__")).c_str(),
                  kExpected, hint);
  throw nb::type_error(text.c_str());
}

std::shared_ptr<cv::Mat> PictureOf(const AnyArray& array) {
  Check(array);
  const cv::Size size(static_cast<int>(array.shape(1)), static_cast<int>(array.shape(0)));
  if (!IsHeldByOpenCv(array)) return std::make_shared<cv::Mat>(Copy(array, size));
  const std::size_t row = array.shape(1) * kChannels;
  const std::size_t step = size.height == 1 ? row : static_cast<std::size_t>(array.stride(0));
  // It is only read.
  return std::make_shared<cv::Mat>(size, CV_8UC3, const_cast<void*>(array.data()), step);
}

}  // namespace dirty_seg::python

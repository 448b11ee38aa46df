// Arrays of Python as pictures.
#pragma once

#include <nanobind/ndarray.h>

#include <memory>
#include <opencv2/core.hpp>

namespace dirty_seg::python {

/// Any array of host or foreign memory, read only or not.
using AnyArray = nanobind::ndarray<nanobind::ro>;

/// `object` as an array. Throws std::invalid_argument for an array of a type that none of C's is
/// like, and nanobind's type_error for anything else.
AnyArray ArrayOf(nanobind::handle object);

/// `array` as a picture, CV_8UC3. Its pixels are the array's own where OpenCV can hold them: the
/// bytes of a pixel and the pixels of a row side by side, rows downwards in memory, with any gap
/// between them. Otherwise they are copied. Throws std::invalid_argument for what is not uint8
/// [height, width, 3] with at least one pixel.
std::shared_ptr<cv::Mat> PictureOf(const AnyArray& array);

}  // namespace dirty_seg::python

#include "files/bilevel_png.h"

#include <fmt/format.h>
#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <utility>
#include <vector>

#include "base/errors.h"

namespace dirty_seg {
namespace {

// Bit 0 of each byte that is not 0.
std::uint64_t NonZeroBytes(std::uint64_t eight) {
  constexpr std::uint64_t kLow = 0x7f7f7f7f7f7f7f7fU;
  return ((((eight & kLow) + kLow) | eight) & ~kLow) >> 7U;
}

// The first pixel becomes the highest bit, as PNG has it.
std::uint8_t PackEight(const std::uint8_t* pixels) {
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the first pixel is the lowest byte");
  std::uint64_t eight = 0;
  std::memcpy(&eight, pixels, sizeof eight);
  return static_cast<std::uint8_t>((NonZeroBytes(eight) * 0x8040201008040201U) >> 56U);
}

void PackRow(const std::uint8_t* pixels, int count, std::uint8_t* bits) {
  int x = 0;
  for (; x + 8 <= count; x += 8) *bits++ = PackEight(pixels + x);
  if (x == count) return;
  std::array<std::uint8_t, 8> last{};
  std::copy(pixels + x, pixels + count, last.begin());
  *bits = PackEight(last.data());
}

// What libpng's callbacks and its way out of an error share.
struct Writing {
  std::string bytes;
  std::array<char, 80> fault{};  // a request of memory must not throw through libpng
};

void Append(png_structp png, png_bytep bytes, std::size_t count) {
  bool is_done = true;
  try {
    static_cast<Writing*>(png_get_io_ptr(png))
        ->bytes.append(reinterpret_cast<const char*>(bytes), count);
  } catch (const std::exception&) {
    is_done = false;
  }
  if (!is_done) png_error(png, "out of memory");
}

[[noreturn]] void NoteFault(png_structp png, png_const_charp text) {
  std::array<char, 80>& fault = static_cast<Writing*>(png_get_error_ptr(png))->fault;
  std::strncpy(fault.data(), text, fault.size() - 1);
  png_longjmp(png, 1);
}

void IgnoreWarning(png_structp /*png*/, png_const_charp /*text*/) {}

// Holds no object that a jump out of libpng would leave behind. Returns whether all was written.
bool Write(png_structp png, png_infop info, const cv::Mat& mask, std::uint8_t* row) {
  if (setjmp(png_jmpbuf(png)) != 0) return false;  // NOLINT(cert-err52-cpp): libpng's error path
  png_set_IHDR(png, info, static_cast<png_uint_32>(mask.cols), static_cast<png_uint_32>(mask.rows),
               1, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_set_compression_level(png, 1);
  png_set_compression_strategy(png, Z_RLE);
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
  png_write_info(png, info);
  for (int y = 0; y < mask.rows; ++y) {
    PackRow(mask.ptr(y), mask.cols, row);
    png_write_row(png, row);
  }
  png_write_end(png, info);
  return true;
}

}  // namespace

std::string EncodeBilevelPng(const cv::Mat& mask) {
  Writing writing;
  std::vector<std::uint8_t> row(static_cast<std::size_t>(mask.cols) / 8 + 1);
  png_structp png =
      png_create_write_struct(PNG_LIBPNG_VER_STRING, &writing, &NoteFault, &IgnoreWarning);
  png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
  if (info != nullptr) png_set_write_fn(png, &writing, &Append, nullptr);
  const bool is_whole = info != nullptr && Write(png, info, mask, row.data());
  png_destroy_write_struct(&png, &info);
  if (is_whole) return std::move(writing.bytes);
  const bool is_told = writing.fault[0] != '\0';
  throw InputError(fmt::format("the mask cannot be written as PNG: {}",
                               is_told ? writing.fault.data() : "out of memory"));
}

}  // namespace dirty_seg

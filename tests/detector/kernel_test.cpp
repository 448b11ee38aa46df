// Pixel kernels against the plain formulas, to the bit.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "dirty_seg_detector/pixel_kernels.h"
#include "support/fenced_memory.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

using test::FencedMemory;

constexpr int kVector = 16;  // pixels that one step of the vector loop takes
constexpr int kBytes = 256;

using Kernel = void (*)(const std::uint8_t*, std::size_t, int, int, float*);
using Formula = float (*)(int plane, std::uint8_t byte);

float Unit(int, std::uint8_t byte) { return static_cast<float>(byte) / 255.0F; }

float Normalised(int plane, std::uint8_t byte) {
  constexpr float kMean[] = {0.485F, 0.456F, 0.406F};
  constexpr float kDeviation[] = {0.229F, 0.224F, 0.225F};
  return (static_cast<float>(byte) / 255.0F - kMean[plane]) / kDeviation[plane];
}

std::uint32_t Bits(float value) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof(bits));
  return bits;
}

// A picture in which every byte differs from its neighbours; `start` shifts all values.
std::uint8_t PatternByte(int y, int x, int channel, int start) {
  return static_cast<std::uint8_t>(start + 83 * y + 3 * x + channel);
}

struct Shape {
  int rows;
  int cols;
  int padding;  // bytes between two rows

  std::size_t RowStep() const { return static_cast<std::size_t>(3 * cols + padding); }
  // The last row has no padding after it.
  std::size_t InputBytes() const {
    return rows == 0 ? 0
                     : RowStep() * static_cast<std::size_t>(rows - 1) +
                           static_cast<std::size_t>(3 * cols);
  }
  std::size_t Plane() const { return static_cast<std::size_t>(rows * cols); }
};

void FillPattern(const Shape& shape, int start, std::uint8_t* bgr) {
  constexpr std::uint8_t kPadding = 0xA5;
  std::memset(bgr, kPadding, shape.InputBytes());
  for (int y = 0; y < shape.rows; ++y) {
    for (int x = 0; x < shape.cols; ++x) {
      std::uint8_t* pixel = bgr + static_cast<std::size_t>(y) * shape.RowStep() + 3 * x;
      for (int channel = 0; channel < 3; ++channel) {
        pixel[channel] = PatternByte(y, x, channel, start);
      }
    }
  }
}

// Runs the kernel on a pattern that ends (or starts) at a fence, and holds every float against the
// formula.
void ExpectExact(Kernel kernel, Formula formula, const Shape& shape, int start,
                 FencedMemory::Flush flush) {
  const FencedMemory input(shape.InputBytes(), flush);
  const FencedMemory output(3 * shape.Plane() * sizeof(float), flush);
  FillPattern(shape, start, input.data());

  auto* planes = reinterpret_cast<float*>(output.data());
  kernel(input.data(), shape.RowStep(), shape.rows, shape.cols, planes);

  for (int plane = 0; plane < 3; ++plane) {
    for (int y = 0; y < shape.rows; ++y) {
      for (int x = 0; x < shape.cols; ++x) {
        const std::uint8_t byte = PatternByte(y, x, 2 - plane, start);
        const std::size_t index = static_cast<std::size_t>(plane) * shape.Plane() +
                                  static_cast<std::size_t>(y * shape.cols + x);
        ASSERT_EQ(Bits(planes[index]), Bits(formula(plane, byte)))
            << "plane " << plane << ", row " << y << ", column " << x << ", byte " << int{byte}
            << ", " << shape.rows << " x " << shape.cols << ", padding " << shape.padding;
      }
    }
  }
}

struct KernelCase {
  const char* name;
  Kernel kernel;
  Formula formula;
};

void PrintTo(const KernelCase& kernel_case, std::ostream* out) { *out << kernel_case.name; }

class PackPlanes : public ::testing::TestWithParam<KernelCase> {
 protected:
  void Expect(const Shape& shape, int start = 0,
              FencedMemory::Flush flush = FencedMemory::Flush::kEnd) {
    ExpectExact(GetParam().kernel, GetParam().formula, shape, start, flush);
  }
};

TEST_P(PackPlanes, EveryByteInEveryLaneOfEveryPlane) {
  // Two vectors and a tail; 256 starts bring every byte to every place.
  for (int start = 0; start < kBytes; ++start) {
    Expect({1, 2 * kVector + 5, 0}, start);
    if (HasFatalFailure()) return;
  }
}

TEST_P(PackPlanes, EveryWidthAroundTheVectors) {
  for (int cols = 0; cols <= 70; ++cols) {
    Expect({3, cols, 0}, 7 * cols);
    if (HasFatalFailure()) return;
  }
}

TEST_P(PackPlanes, NothingBeforeTheFirstByteIsTouched) {
  for (int cols = 1; cols <= 70; ++cols) {
    Expect({3, cols, 0}, cols, FencedMemory::Flush::kStart);
    if (HasFatalFailure()) return;
  }
}

TEST_P(PackPlanes, OddRowSteps) {
  for (int padding : {1, 2, 5, 13, 31}) {
    for (int cols : {1, kVector - 1, kVector, kVector + 1, 3 * kVector + 7}) {
      Expect({4, cols, padding}, 11 * padding);
      if (HasFatalFailure()) return;
    }
  }
}

TEST_P(PackPlanes, ManyRowsOfOneColumn) { Expect({257, 1, 2}); }

TEST_P(PackPlanes, NoRowsWriteNothing) {
  float guard = -7.0F;
  const std::uint8_t byte = 0;
  GetParam().kernel(&byte, 3, 0, 1, &guard);
  EXPECT_EQ(guard, -7.0F);
}

TEST_P(PackPlanes, GuardsAroundTheTensorAreKept) {
  constexpr float kGuard = -123.0F;
  constexpr std::size_t kGuards = 64;
  for (int cols = 0; cols <= 70; ++cols) {
    const Shape shape{2, cols, 3};
    std::vector<std::uint8_t> input(shape.InputBytes() + 1);
    FillPattern(shape, cols, input.data());
    const std::size_t length = 3 * shape.Plane();
    std::vector<float> tensor(length + 2 * kGuards, kGuard);

    GetParam().kernel(input.data(), shape.RowStep(), shape.rows, shape.cols,
                      tensor.data() + kGuards);

    for (std::size_t i = 0; i < kGuards; ++i) {
      ASSERT_EQ(tensor[i], kGuard) << "before, " << cols << " columns";
      ASSERT_EQ(tensor[kGuards + length + i], kGuard) << "behind, " << cols << " columns";
    }
  }
}

TEST_P(PackPlanes, UnalignedInputAndOutput) {
  const Shape shape{2, 37, 0};
  std::vector<std::uint8_t> input(shape.InputBytes() + kVector);
  std::vector<float> tensor(3 * shape.Plane() + 4);
  for (std::size_t shift = 0; shift < kVector; ++shift) {
    FillPattern(shape, 0, input.data() + shift);
    float* planes = tensor.data() + shift % 4;

    GetParam().kernel(input.data() + shift, shape.RowStep(), shape.rows, shape.cols, planes);

    ASSERT_EQ(Bits(planes[0]), Bits(GetParam().formula(0, PatternByte(0, 0, 2, 0))));
    ASSERT_EQ(Bits(planes[36]), Bits(GetParam().formula(0, PatternByte(0, 36, 2, 0))));
    ASSERT_EQ(Bits(planes[3 * shape.Plane() - 1]),
              Bits(GetParam().formula(2, PatternByte(1, 36, 0, 0))));
  }
}

INSTANTIATE_TEST_SUITE_P(Kernels, PackPlanes,
                         ::testing::Values(KernelCase{"Unit", PackUnitPlanes, Unit},
                                           KernelCase{"Normalised", PackNormalisedPlanes,
                                                      Normalised}),
                         [](const auto& test) { return test.param.name; });

TEST(PackUnitPlanes, KnownValues) {
  const std::uint8_t pixel[] = {0, 51, 255};  // 51 / 255 is a fifth
  float planes[3];

  PackUnitPlanes(pixel, 3, 1, 1, planes);

  EXPECT_EQ(planes[0], 1.0F);
  EXPECT_EQ(planes[1], 0.2F);
  EXPECT_EQ(planes[2], 0.0F);
}

TEST(PackUnitPlanes, ReciprocalWouldDiffer) {
  // 217 is one of the bytes whose product with the float nearest to 1 / 255 is not the quotient:
  // the bits are those of the division.
  std::vector<std::uint8_t> row(3 * kVector, 217);
  std::vector<float> planes(3 * kVector);

  PackUnitPlanes(row.data(), row.size(), 1, kVector, planes.data());

  EXPECT_EQ(Bits(planes[0]), 0x3F59D9DAU);
}

TEST(PackNormalisedPlanes, KnownValues) {
  const std::uint8_t pixels[] = {255, 255, 255, 0, 0, 0};
  float planes[6];

  PackNormalisedPlanes(pixels, 6, 1, 2, planes);

  EXPECT_NEAR(planes[0], 2.2489, 5e-5);
  EXPECT_NEAR(planes[1], -2.1179, 5e-5);
  EXPECT_NEAR(planes[2], 2.4286, 5e-5);
  EXPECT_NEAR(planes[3], -2.0357, 5e-5);
  EXPECT_NEAR(planes[4], 2.64, 5e-5);
  EXPECT_NEAR(planes[5], -1.8044, 5e-5);
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector

// Tensors' lengths, and what they are called in messages.
#include "network/tensor.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

namespace nuvik::alg::common {
namespace {

TEST(TypeName, IsThatOfTheCode) {
  EXPECT_EQ(TypeName(kAIUint8), "uint8");
  EXPECT_EQ(TypeName(kAIFloat16), "float16");
  EXPECT_EQ(TypeName(kAIFloat32), "float32");
  EXPECT_EQ(TypeName(kAIInt32), "int32");
  EXPECT_EQ(TypeName(kAIInt64), "int64");
  EXPECT_EQ(TypeName(kAIFloat64), "float64");
  EXPECT_EQ(TypeName(6), "type code 6");
  EXPECT_EQ(TypeName(4294967295), "type code 4294967295");
}

TEST(ShapeText, ListsTheDimensions) {
  EXPECT_EQ(ShapeText({}), "[]");
  EXPECT_EQ(ShapeText({7}), "[7]");
  EXPECT_EQ(ShapeText({6, 3, 640, 640}), "[6, 3, 640, 640]");
}

TEST(ShapeText, OnlyADimensionBelowZeroIsOpen) {
  EXPECT_EQ(ShapeText({-1, 0, 1, -5}), "[?, 0, 1, ?]");
}

TEST(TensorBytes, AreElementsTimesTheirSize) {
  EXPECT_EQ(TensorBytes(kAIUint8, {2, 3}), 6U);
  EXPECT_EQ(TensorBytes(kAIFloat16, {2, 3}), 12U);
  EXPECT_EQ(TensorBytes(kAIFloat32, {2, 3}), 24U);
  EXPECT_EQ(TensorBytes(kAIInt32, {2, 3}), 24U);
  EXPECT_EQ(TensorBytes(kAIInt64, {2, 3}), 48U);
  EXPECT_EQ(TensorBytes(kAIFloat64, {2, 3}), 48U);
}

TEST(TensorBytes, OfNoDimensionsAreThoseOfOneElement) { EXPECT_EQ(TensorBytes(kAIInt64, {}), 8U); }

TEST(TensorBytes, OfATypeWithoutACodeAreUnknown) {
  EXPECT_EQ(TensorBytes(6, {2, 3}), std::nullopt);
}

TEST(TensorBytes, GoAsFarAsALengthOf32Bits) {
  EXPECT_EQ(TensorBytes(kAIUint8, {2147483647}), 2147483647U);
  EXPECT_EQ(TensorBytes(kAIUint8, {2147483648}), std::nullopt);
  EXPECT_EQ(TensorBytes(kAIFloat32, {536870911}), 2147483644U);
  EXPECT_EQ(TensorBytes(kAIFloat32, {536870912}), std::nullopt);
  EXPECT_EQ(TensorBytes(kAIUint8, {32767, 65536}), 2147418112U);
  EXPECT_EQ(TensorBytes(kAIUint8, {32768, 65536}), std::nullopt);
  EXPECT_EQ(TensorBytes(kAIFloat64, {std::int64_t{1} << 62, std::int64_t{1} << 62}), std::nullopt);
}

TEST(TensorBytes, NeedPositiveDimensions) {
  EXPECT_EQ(TensorBytes(kAIFloat32, {0}), std::nullopt);
  EXPECT_EQ(TensorBytes(kAIFloat32, {-1}), std::nullopt);
  EXPECT_EQ(TensorBytes(kAIFloat32, {3, 0, 5}), std::nullopt);
  EXPECT_EQ(TensorBytes(kAIFloat32, {-2, -3}), std::nullopt);
}

}  // namespace
}  // namespace nuvik::alg::common

// Tensors' lengths, and what they are called in messages.
#include "network/tensor.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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

TEST(NumpyTypes, AreThoseOfTheCodes) {
  const std::vector<std::string> expected{"|u1", "<f2", "<f4", "<i4", "<i8", "<f8"};
  EXPECT_EQ(NumpyTypes(), expected);
  EXPECT_EQ(NumpyOfType(kAIUint8), "|u1");
  EXPECT_EQ(NumpyOfType(kAIFloat64), "<f8");
  EXPECT_EQ(NumpyOfType(6), std::nullopt);
}

TEST(TypeOfNumpy, IsNothingForOtherTypesAndOrders) {
  EXPECT_EQ(TypeOfNumpy("<f2"), kAIFloat16);
  EXPECT_EQ(TypeOfNumpy("<i4"), kAIInt32);
  EXPECT_EQ(TypeOfNumpy("<i8"), kAIInt64);
  EXPECT_EQ(TypeOfNumpy(">f4"), std::nullopt);
  EXPECT_EQ(TypeOfNumpy("f4"), std::nullopt);
  EXPECT_EQ(TypeOfNumpy(""), std::nullopt);
}

TEST(ShapeText, ListsTheDimensions) {
  EXPECT_EQ(ShapeText({}), "[]");
  EXPECT_EQ(ShapeText({7}), "[7]");
  EXPECT_EQ(ShapeText({6, 3, 640, 640}), "[6, 3, 640, 640]");
}

TEST(ShapeText, OnlyADimensionBelowZeroIsOpen) {
  EXPECT_EQ(ShapeText({-1, 0, 1, -5}), "[?, 0, 1, ?]");
}

TEST(TensorText, IsTypeAndShape) {
  EXPECT_EQ(TensorText(kAIFloat16, {2, 3}), "float16 [2, 3]");
  EXPECT_EQ(TensorText(9, {}), "type code 9 []");
}

TEST(ElementBytes, AreThoseOfTheType) {
  EXPECT_EQ(ElementBytes(kAIUint8), 1U);
  EXPECT_EQ(ElementBytes(kAIFloat16), 2U);
  EXPECT_EQ(ElementBytes(kAIFloat32), 4U);
  EXPECT_EQ(ElementBytes(kAIInt32), 4U);
  EXPECT_EQ(ElementBytes(kAIInt64), 8U);
  EXPECT_EQ(ElementBytes(kAIFloat64), 8U);
}

// onnx.proto3, TensorProto.DataType.
TEST(OnnxType, HasItsNameAndTheCodeOfTheInterface) {
  const std::vector<std::pair<std::string, std::optional<AIDataType>>> expected{
      {"undefined", std::nullopt}, {"float32", kAIFloat32},
      {"uint8", kAIUint8},         {"int8", std::nullopt},
      {"uint16", std::nullopt},    {"int16", std::nullopt},
      {"int32", kAIInt32},         {"int64", kAIInt64},
      {"string", std::nullopt},    {"bool", std::nullopt},
      {"float16", kAIFloat16},     {"float64", kAIFloat64},
      {"uint32", std::nullopt},    {"uint64", std::nullopt},
      {"complex64", std::nullopt}, {"complex128", std::nullopt},
      {"bfloat16", std::nullopt},  {"ONNX element type 17", std::nullopt}};
  for (std::size_t code = 0; code < expected.size(); ++code) {
    const auto onnx_type = static_cast<std::int64_t>(code);
    EXPECT_EQ(OnnxTypeName(onnx_type), expected[code].first);
    EXPECT_EQ(TypeOfOnnx(onnx_type), expected[code].second) << code;
    if (expected[code].second) {
      EXPECT_EQ(OnnxOfType(*expected[code].second), onnx_type);
    }
  }
  EXPECT_EQ(OnnxTypeName(-1), "ONNX element type -1");
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

// Tensors compared number by number.
#include "tensors/dump_comparison.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>

#include "base/errors.h"
#include "engine/ai_engine.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using nuvik::alg::common::AIDataType;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

template <typename Value>
NpyArray Tensor(AIDataType type, const std::vector<std::int64_t>& shape,
                const std::vector<Value>& values) {
  NpyArray array{type, shape, std::vector<std::uint8_t>(values.size() * sizeof(Value))};
  std::memcpy(array.bytes.data(), values.data(), array.bytes.size());
  return array;
}

NpyArray Floats(const std::vector<std::int64_t>& shape, const std::vector<float>& values) {
  return Tensor(AIDataType::kAIFloat32, shape, values);
}

TEST(CompareTensors, CountsAndFindsTheLargestDifferences) {
  const TensorDifference result = CompareTensors("x", Floats({2, 3}, {1, 2, 3, 4, 100, 0.5F}),
                                                 Floats({2, 3}, {1, 2.5F, 3, 4, 102, 0.25F}));
  EXPECT_TRUE(result.has_same_shape);
  EXPECT_FALSE(result.is_equal_to_the_bit);
  EXPECT_EQ(result.differing, 3U);
  EXPECT_EQ(result.first_differing, 1U);
  ASSERT_TRUE(result.largest_absolute && result.largest_relative);
  EXPECT_EQ(result.largest_absolute->difference, 2.0);
  EXPECT_EQ(result.largest_absolute->index, 4U);
  EXPECT_EQ(result.largest_absolute->in_a, 100.0);
  EXPECT_EQ(result.largest_absolute->in_b, 102.0);
  EXPECT_EQ(result.largest_relative->difference, 0.5);  // 0.25 of 0.5
  EXPECT_EQ(result.largest_relative->index, 5U);
}

TEST(CompareTensors, KnowsEqualToTheBit) {
  EXPECT_TRUE(
      CompareTensors("x", Floats({2}, {1, kNan}), Floats({2}, {1, kNan})).is_equal_to_the_bit);
  const TensorDifference zeros = CompareTensors("x", Floats({1}, {0.0F}), Floats({1}, {-0.0F}));
  EXPECT_FALSE(zeros.is_equal_to_the_bit);
  EXPECT_EQ(zeros.differing, 0U);
  const TensorDifference nans =
      CompareTensors("x", Floats({1}, {kNan}), Floats({1}, {std::nanf("7")}));
  EXPECT_FALSE(nans.is_equal_to_the_bit);
  EXPECT_EQ(nans.differing, 0U);
}

TEST(CompareTensors, CountsWhatIsNoNumberOnOneSide) {
  const TensorDifference result =
      CompareTensors("x", Floats({4}, {kNan, 1, kNan, 2}), Floats({4}, {1, kNan, kNan, kNan}));
  EXPECT_EQ(result.differing, 3U);
  EXPECT_EQ(result.first_differing, 0U);
  EXPECT_EQ(result.nan_only_in_a, 1U);
  EXPECT_EQ(result.nan_only_in_b, 2U);
  EXPECT_FALSE(result.largest_absolute);
}

TEST(CompareTensors, TakesInfinityAsFarAway) {
  const TensorDifference same =
      CompareTensors("x", Floats({1}, {kInfinity}), Floats({1}, {kInfinity}));
  EXPECT_EQ(same.differing, 0U);
  const TensorDifference apart =
      CompareTensors("x", Floats({2}, {1, kInfinity}), Floats({2}, {2, 0}));
  EXPECT_EQ(apart.largest_absolute->index, 1U);
  EXPECT_TRUE(std::isinf(apart.largest_absolute->difference));
  EXPECT_TRUE(std::isinf(apart.largest_relative->difference));
}

TEST(CompareTensors, IsExactForIntegersOf64Bits) {
  // One more than what a double holds.
  constexpr std::int64_t kLarge = (std::int64_t{1} << 53) + 1;
  const TensorDifference result =
      CompareTensors("x", Tensor<std::int64_t>(AIDataType::kAIInt64, {1}, {kLarge}),
                     Tensor<std::int64_t>(AIDataType::kAIInt64, {1}, {kLarge - 1}));
  EXPECT_EQ(result.differing, 1U);
  EXPECT_EQ(result.largest_absolute->difference, 1.0);
}

TEST(CompareTensors, ComparesTypesByValue) {
  // Halves of 1, 1.5 and -2.
  const NpyArray halves =
      Tensor<std::uint16_t>(AIDataType::kAIFloat16, {3}, {0x3c00, 0x3e00, 0xc000});
  const TensorDifference result = CompareTensors("x", halves, Floats({3}, {1, 1.5F, -2.25F}));
  EXPECT_FALSE(result.is_equal_to_the_bit);
  EXPECT_EQ(result.differing, 1U);
  EXPECT_EQ(result.largest_absolute->difference, 0.25);
  const TensorDifference bytes =
      CompareTensors("x", Tensor<std::uint8_t>(AIDataType::kAIUint8, {2}, {200, 7}),
                     Tensor<std::int32_t>(AIDataType::kAIInt32, {2}, {200, -7}));
  EXPECT_EQ(bytes.largest_absolute->difference, 14.0);
}

TEST(CompareTensors, DoesNotCompareOtherShapes) {
  const TensorDifference result =
      CompareTensors("x", Floats({2, 3}, {1, 2, 3, 4, 5, 6}), Floats({3, 2}, {1, 2, 3, 4, 5, 6}));
  EXPECT_FALSE(result.has_same_shape);
  EXPECT_THAT(FindExcesses({{result}, {}, {}}, std::nullopt),
              ElementsAre("x: the shapes differ, [2, 3] and [3, 2]"));
  EXPECT_EQ(ComparisonText({{result}, {}, {}}),
            "x  float32 [2, 3] and float32 [3, 2]: not comparable\n");
}

TEST(FindExcesses, HoldsNumbersAgainstTheLimit) {
  const DumpComparison comparison{
      {CompareTensors("x", Floats({2}, {1, kNan}), Floats({2}, {1.5F, 1}))}, {"y"}, {"z"}};
  EXPECT_THAT(
      FindExcesses(comparison, 0.25),
      ElementsAre("y is only in A", "z is only in B", "--max-difference 0.25: x differs by 0.5",
                  "--max-difference 0.25: x is not a number on one side 1 times"));
  const DumpComparison close{{CompareTensors("x", Floats({1}, {1}), Floats({1}, {1.5F}))}, {}, {}};
  EXPECT_THAT(FindExcesses(close, 0.5), IsEmpty());
}

TEST(ComparisonText, TellsWhatDiffersAndWhere) {
  const DumpComparison comparison{
      {CompareTensors("x", Floats({1, 2}, {1, 2}), Floats({1, 2}, {1, 2.5F})),
       CompareTensors("y", Floats({1}, {7}), Floats({1}, {7}))},
      {},
      {"z"}};
  EXPECT_EQ(ComparisonText(comparison),
            "x  float32 [1, 2]: 1 of 2 elements differ, first at [0, 1]\n"
            "  largest absolute difference 0.5 at [0, 1]: 2 and 2.5\n"
            "  largest relative difference 0.2 at [0, 1]: 2 and 2.5\n"
            "y  float32 [1]: equal to the bit\n"
            "z  only in B\n");
}

TEST(ToJson, HoldsWhatJsonHasNoNumberFor) {
  const DumpComparison comparison{
      {CompareTensors("x", Floats({1}, {-kInfinity}), Floats({1}, {0}))}, {}, {}};
  EXPECT_EQ(ToJson(comparison).dump(),
            "{\"tensors\":[{\"name\":\"x\",\"type_a\":\"float32\",\"type_b\":\"float32\","
            "\"shape_a\":[1],\"shape_b\":[1],\"elements\":1,\"equal_to_the_bit\":false,"
            "\"differing\":1,\"first_differing\":[0],"
            "\"largest_absolute\":{\"difference\":\"inf\",\"at\":[0],\"a\":\"-inf\",\"b\":0.0},"
            "\"largest_relative\":{\"difference\":\"inf\",\"at\":[0],\"a\":\"-inf\",\"b\":0.0},"
            "\"nan_only_in_a\":0,\"nan_only_in_b\":0}],\"only_in_a\":[],\"only_in_b\":[]}");
}

TEST(CompareDumps, PairsTheFilesOfTwoFolders) {
  const test::TemporaryFolder folder;
  const std::string a = folder.MakeFolder("a");
  const std::string b = folder.MakeFolder("b");
  WriteNpy(a + "/x.npy", Floats({1}, {1}));
  WriteNpy(b + "/x.npy", Floats({1}, {2}));
  WriteNpy(a + "/only_a.npy", Floats({1}, {1}));
  WriteNpy(b + "/only_b.npy", Floats({1}, {1}));
  folder.Write("a/note.txt", "no tensor");
  const DumpComparison comparison = CompareDumps(a, b);
  ASSERT_EQ(comparison.tensors.size(), 1U);
  EXPECT_EQ(comparison.tensors[0].name, "x");
  EXPECT_EQ(comparison.tensors[0].differing, 1U);
  EXPECT_THAT(comparison.only_in_a, ElementsAre("only_a"));
  EXPECT_THAT(comparison.only_in_b, ElementsAre("only_b"));
  EXPECT_EQ(CompareDumps(a + "/x.npy", b + "/only_b.npy").tensors[0].differing, 0U);
  EXPECT_EQ(test::RejectionOf<SetupError>([&] { CompareDumps(a, b + "/x.npy"); }),
            "'" + a + "' and '" + b + "/x.npy': expected two folders or two .npy files");
}

TEST(IsDump, TellsDumpsFromResults) {
  const test::TemporaryFolder folder;
  EXPECT_FALSE(IsDump(folder.MakeFolder("empty")));
  EXPECT_TRUE(IsDump("any/x.npy"));
  EXPECT_FALSE(IsDump("any/x.jsonl"));
  WriteNpy(folder / "x.npy", Floats({1}, {1}));
  EXPECT_TRUE(IsDump(folder.path()));
  folder.Write("results.jsonl", "");
  EXPECT_FALSE(IsDump(folder.path()));
}

}  // namespace
}  // namespace dirty_seg

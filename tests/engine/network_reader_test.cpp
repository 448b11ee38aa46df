// ReadNetwork: everything that a host would otherwise type by hand.
#include "engine/network_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/case_name.h"
#include "support/network_files.h"
#include "support/standard_error.h"
#include "support/tiny_network.h"

namespace nuvik::alg::common {
namespace {

using test::NetworkPath;
using test::OnnxType;
using test::PassOn;
using test::ReadFile;
using test::Serialise;
using test::StandardErrorOf;
using test::TemporaryFile;
using test::TinyNetwork;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;

using Shape = std::vector<std::int64_t>;

Network Read(const std::string& path, const OpenDimensions& open = {}) {
  Network network;
  std::string error = "before";
  EXPECT_THAT(StandardErrorOf([&] { EXPECT_EQ(ReadNetwork(path, open, network, error), 0); }),
              IsEmpty());
  EXPECT_EQ(error, "before");
  EXPECT_EQ(network.config.model_path, path);
  return network;
}

void ExpectReady(const AIEngineConfig& config) {
  AIEngine engine;
  AIEngineConfig copy = config;
  copy.thread_count = 1;
  EXPECT_THAT(StandardErrorOf([&] { EXPECT_EQ(engine.Init(copy), 0); }), IsEmpty());
}

// Reads into a record that already holds something, which must stay.
template <typename Matcher>
void ExpectRefused(const std::string& path, const Matcher& what, const OpenDimensions& open = {}) {
  Network network;
  network.config.model_path = "before";
  network.config.input_sizes["before"] = 1;
  network.config.thread_count = 9;
  network.class_names[3] = "before";
  std::string error;
  EXPECT_THAT(StandardErrorOf([&] { EXPECT_LT(ReadNetwork(path, open, network, error), 0); }),
              IsEmpty());
  const std::string start = "'" + path + "': ";
  ASSERT_THAT(error, StartsWith(start));
  EXPECT_THAT(error.substr(start.size()), what);
  EXPECT_EQ(network.config.model_path, "before");
  EXPECT_THAT(network.config.input_sizes, ElementsAre(Pair("before", 1)));
  EXPECT_THAT(network.config.output_sizes, IsEmpty());
  EXPECT_EQ(network.config.thread_count, 9);
  EXPECT_THAT(network.class_names, ElementsAre(Pair(3, "before")));
}

TEST(ReadNetwork, FillsTheConfigurationOfANetworkWithFixedDimensions) {
  const AIEngineConfig config = Read(NetworkPath("seg-b2-64")).config;
  EXPECT_THAT(config.input_sizes, ElementsAre(Pair("images", 98304)));
  EXPECT_THAT(config.input_shapes, ElementsAre(Pair("images", Shape{2, 3, 64, 64})));
  EXPECT_THAT(config.input_types, ElementsAre(Pair("images", kAIFloat32)));
  EXPECT_THAT(config.output_sizes, ElementsAre(Pair("output0", 25536), Pair("output1", 65536)));
  EXPECT_THAT(config.output_shapes, ElementsAre(Pair("output0", Shape{2, 38, 84}),
                                                Pair("output1", Shape{2, 32, 16, 16})));
  EXPECT_THAT(config.output_types,
              ElementsAre(Pair("output0", kAIFloat32), Pair("output1", kAIFloat32)));
  EXPECT_THAT(config.input_memory_types, IsEmpty());
  EXPECT_THAT(config.output_memory_types, IsEmpty());
  EXPECT_EQ(config.thread_count, 0);
  EXPECT_EQ(config.device_id, 0);
}

TEST(ReadNetwork, IgnoresTheSizesForOpenDimensionsWhereNoneIsOpen) {
  const AIEngineConfig config = Read(NetworkPath("seg-b2-64"), {7, 32, 96}).config;
  EXPECT_THAT(config.input_shapes, ElementsAre(Pair("images", Shape{2, 3, 64, 64})));
}

TEST(ReadNetwork, ClosesOpenDimensionsAtOneAnd640ByDefault) {
  const AIEngineConfig config = Read(NetworkPath("seg-dynamic")).config;
  EXPECT_THAT(config.input_shapes, ElementsAre(Pair("images", Shape{1, 3, 640, 640})));
  EXPECT_THAT(config.input_sizes, ElementsAre(Pair("images", 4915200)));
  EXPECT_THAT(config.output_shapes, ElementsAre(Pair("output0", Shape{1, 38, 8400}),
                                                Pair("output1", Shape{1, 32, 160, 160})));
  EXPECT_THAT(config.output_sizes, ElementsAre(Pair("output0", 1276800), Pair("output1", 3276800)));
}

TEST(ReadNetwork, ClosesBatchHeightAndWidthEachAtItsOwnSize) {
  const AIEngineConfig config = Read(NetworkPath("seg-dynamic"), {5, 64, 96}).config;
  EXPECT_THAT(config.input_shapes, ElementsAre(Pair("images", Shape{5, 3, 64, 96})));
  EXPECT_THAT(config.output_shapes, ElementsAre(Pair("output0", Shape{5, 38, 126}),
                                                Pair("output1", Shape{5, 32, 16, 24})));
  EXPECT_THAT(config.output_sizes, ElementsAre(Pair("output0", 95760), Pair("output1", 245760)));
  ExpectReady(config);
}

TEST(ReadNetwork, ClosesABatchThatAloneIsOpen) {
  const AIEngineConfig config = Read(NetworkPath("classifier-dynamic-batch"), {4, 1, 1}).config;
  EXPECT_THAT(config.input_shapes, ElementsAre(Pair("input", Shape{4, 3, 224, 224})));
  EXPECT_THAT(config.output_shapes, ElementsAre(Pair("output", Shape{4, 2})));
  EXPECT_THAT(config.output_sizes, ElementsAre(Pair("output", 32)));
}

TEST(ReadNetwork, TellsHalfPrecisionOutputs) {
  const AIEngineConfig config = Read(NetworkPath("seg-b2-64-f16")).config;
  EXPECT_THAT(config.input_types, ElementsAre(Pair("images", kAIFloat32)));
  EXPECT_THAT(config.output_types,
              ElementsAre(Pair("output0", kAIFloat16), Pair("output1", kAIFloat16)));
  EXPECT_THAT(config.output_sizes, ElementsAre(Pair("output0", 12768), Pair("output1", 32768)));
}

TEST(ReadNetwork, TellsTransposedPredictions) {
  EXPECT_EQ(Read(NetworkPath("seg-b2-64-transposed")).config.output_shapes.at("output0"),
            (Shape{2, 84, 38}));
}

TEST(ReadNetwork, TellsSwappedOutputs) {
  const AIEngineConfig config = Read(NetworkPath("seg-b2-64-swapped")).config;
  EXPECT_EQ(config.output_shapes.at("output0"), (Shape{2, 32, 16, 16}));
  EXPECT_EQ(config.output_shapes.at("output1"), (Shape{2, 38, 84}));
}

TEST(ReadNetwork, TellsEveryElementTypeAndItsLength) {
  const AIEngineConfig config = Read(NetworkPath("types")).config;
  EXPECT_THAT(config.input_types,
              ElementsAre(Pair("f16", kAIFloat16), Pair("f32", kAIFloat32), Pair("f64", kAIFloat64),
                          Pair("i32", kAIInt32), Pair("i64", kAIInt64), Pair("u8", kAIUint8)));
  EXPECT_THAT(config.input_sizes, ElementsAre(Pair("f16", 8), Pair("f32", 16), Pair("f64", 32),
                                              Pair("i32", 16), Pair("i64", 32), Pair("u8", 4)));
  EXPECT_THAT(config.output_types,
              ElementsAre(Pair("f16_out", kAIFloat16), Pair("f32_out", kAIFloat32),
                          Pair("f64_out", kAIFloat64), Pair("i32_out", kAIInt32),
                          Pair("i64_out", kAIInt64), Pair("u8_out", kAIUint8)));
}

TEST(ReadNetwork, FillsWhatInitTakes) {
  for (const char* name :
       {"seg-b2-64", "seg-b2-64-f16", "seg-b2-64-half", "seg-b2-64-quantised", "seg-b2-64-swapped",
        "seg-b2-64-transposed", "boxes-only", "rank2", "classifier-112", "classifier-224",
        "classifier-dynamic-batch", "types", "fails-later"}) {
    SCOPED_TRACE(name);
    ExpectReady(Read(NetworkPath(name)).config);
  }
}

TEST(ReadNetwork, ReplacesWhatTheRecordHeld) {
  Network network = Read(NetworkPath("types"));
  network.class_names[9] = "old";
  network.config.thread_count = 3;
  std::string error;
  ASSERT_EQ(ReadNetwork(NetworkPath("rank2"), {}, network, error), 0) << error;
  EXPECT_THAT(network.config.input_sizes, ElementsAre(Pair("images", 98304)));
  EXPECT_THAT(network.config.output_shapes, ElementsAre(Pair("output0", Shape{2, 10})));
  EXPECT_THAT(network.class_names, IsEmpty());
}

TEST(ReadNetwork, ReadsAnOutputWhoseRankTheFileDoesNotTell) {
  TinyNetwork network;
  network.operation = "Squeeze";
  network.inputs = {{"x", OnnxType::kFloat, Shape{-1, 1, 3}}};
  network.outputs = {{"y", OnnxType::kFloat, std::nullopt}};
  const TemporaryFile file(Serialise(network));
  const AIEngineConfig config = Read(file.path(), {4, 1, 1}).config;
  EXPECT_THAT(config.output_shapes, ElementsAre(Pair("y", Shape{4, 3})));
  EXPECT_THAT(config.output_sizes, ElementsAre(Pair("y", 48)));
  ExpectReady(config);
}

// --- Class names

std::map<std::int32_t, std::string> NamesFrom(const std::optional<std::string>& metadata) {
  TinyNetwork network = PassOn(OnnxType::kFloat, {1});
  network.class_names = metadata;
  const TemporaryFile file(Serialise(network));
  return Read(file.path()).class_names;
}

TEST(ReadNetworkClassNames, AreThoseOfTheMetadata) {
  EXPECT_THAT(Read(NetworkPath("seg-b2-64")).class_names,
              ElementsAre(Pair(0, "red"), Pair(1, "green")));
  EXPECT_THAT(Read(NetworkPath("classifier-224")).class_names,
              ElementsAre(Pair(0, "no"), Pair(1, "yes")));
}

TEST(ReadNetworkClassNames, AreNoneWithoutMetadata) {
  EXPECT_THAT(Read(NetworkPath("rank2")).class_names, IsEmpty());
  EXPECT_THAT(NamesFrom(std::nullopt), IsEmpty());
}

TEST(ReadNetworkClassNames, MayBeQuotedEitherWayAndHaveSpaces) {
  EXPECT_THAT(NamesFrom("{0: 'traffic light', 7: \"cat's food\", 19: feces}"),
              ElementsAre(Pair(0, "traffic light"), Pair(7, "cat's food"), Pair(19, "feces")));
}

TEST(ReadNetworkClassNames, AreNoneWhenTheTextIsNoMappingFromNumbers) {
  for (const char* text : {"", "red, green", "['red', 'green']", "{red: 0}", "{0: [1, 2]}",
                           "{0: 'red'", "{0: 'red', one: 'green'}", "\t{", "'"}) {
    EXPECT_THAT(NamesFrom(text), IsEmpty()) << text;
  }
}

TEST(ReadNetwork, RunsNoTrialWhereEveryShapeIsKnown) {
  const Network network = Read(NetworkPath("fails-at-run"));
  EXPECT_EQ(network.config.output_shapes, (std::map<std::string, Shape>{{"y", {1, 1}}}));
}

// --- Refusals

TEST(ReadNetworkRefusal, OfAMissingFile) {
  ExpectRefused(NetworkPath("no-such-network"), "cannot be opened: No such file or directory");
}

TEST(ReadNetworkRefusal, OfAFolder) {
  ExpectRefused(TEST_NETWORKS_FOLDER, "is a folder; expected an ONNX file");
}

TEST(ReadNetworkRefusal, OfFilesThatAreNoNetwork) {
  const std::string whole = ReadFile(NetworkPath("seg-b2-64"));
  for (const auto& [bytes, words] : std::map<std::string, std::string>{
           {"", "is empty; "},
           {"no network\n", "is a text that begins with \"no network\"; "},
           {whole.substr(0, whole.size() / 2), "ends in the middle: "},
           {std::string(300, '\xff'), "is not a usable ONNX network: "}}) {
    const TemporaryFile file(bytes);
    ExpectRefused(file.path(), StartsWith(words));
  }
}

TEST(ReadNetworkRefusal, OfElementTypesWithoutACode) {
  ExpectRefused(NetworkPath("bool"),
                "tensor 'x' is bool; expected uint8, float16, float32, int32, int64 or float64");
  ExpectRefused(NetworkPath("string"),
                "tensor 'x' is string; expected uint8, float16, float32, int32, int64 or float64");
}

TEST(ReadNetworkRefusal, OfAnOutputTypeWithoutACode) {
  TinyNetwork network;
  network.operation = "IsNaN";
  network.inputs = {{"x", OnnxType::kFloat, Shape{1}}};
  network.outputs = {{"y", OnnxType::kBool, Shape{1}}};
  const TemporaryFile file(Serialise(network));
  ExpectRefused(file.path(),
                "tensor 'y' is bool; expected uint8, float16, float32, int32, int64 or float64");
}

TEST(ReadNetworkRefusal, OfAnElementTypeWithoutAName) {
  const TemporaryFile file(Serialise(PassOn(OnnxType::kBfloat16, {1})));
  ExpectRefused(file.path(),
                "tensor 'x' is ONNX element type 16; expected uint8, float16, float32, int32, "
                "int64 or float64");
}

TEST(ReadNetworkRefusal, OfAnOutputThatIsNoTensor) {
  TinyNetwork network;
  network.operation = "SequenceConstruct";
  network.inputs = {{"x", OnnxType::kFloat, Shape{1}}};
  network.outputs = {{"y", OnnxType::kFloat, Shape{1}, true}};
  const TemporaryFile file(Serialise(network));
  ExpectRefused(file.path(),
                "tensor 'y' is not a tensor; expected uint8, float16, float32, int32, int64 or "
                "float64");
}

TEST(ReadNetworkRefusal, OfOtherOpenDimensions) {
  for (const auto& [shape, text] : std::map<Shape, std::string>{
           {{4, -1}, "[4, ?]"}, {{1, -1, 8, 8}, "[1, ?, 8, 8]"}, {{1, 2, -1}, "[1, 2, ?]"}}) {
    const TemporaryFile file(Serialise(PassOn(OnnxType::kFloat, shape)));
    ExpectRefused(file.path(), "tensor 'x' has shape " + text +
                                   "; expected positive dimensions and at most 2147483647 bytes");
  }
}

TEST(ReadNetworkRefusal, OfSizesForOpenDimensionsThatAreNotPositive) {
  ExpectRefused(NetworkPath("seg-dynamic"),
                "tensor 'images' has shape [0, 3, 64, 64]; expected positive dimensions and at "
                "most 2147483647 bytes",
                {0, 64, 64});
  ExpectRefused(NetworkPath("seg-dynamic"),
                "tensor 'images' has shape [1, 3, ?, 64]; expected positive dimensions and at most "
                "2147483647 bytes",
                {1, -5, 64});
}

TEST(ReadNetworkRefusal, OfATensorLongerThanItsLengthCanTell) {
  ExpectRefused(NetworkPath("seg-dynamic"),
                "tensor 'images' has shape [1, 3, 13378, 13378]; expected positive dimensions and "
                "at most 2147483647 bytes",
                {1, 13378, 13378});
}

TEST(ReadNetworkRefusal, OfAShapeThatATrialRunOnZerosLeavesEmpty) {
  TinyNetwork network;
  network.operation = "NonZero";  // where its input is not zero: a column for each such place
  network.inputs = {{"x", OnnxType::kFloat, Shape{3}}};
  network.outputs = {{"y", OnnxType::kInt64, Shape{-1, -1}}};
  const TemporaryFile file(Serialise(network));
  ExpectRefused(file.path(),
                "tensor 'y' has shape [1, 0]; expected positive dimensions and at most 2147483647 "
                "bytes");
}

TEST(ReadNetworkRefusal, OfATrialRunThatFails) {
  TinyNetwork network;
  network.operation = "Reshape";  // to two dimensions, both copied from an input that has one
  network.inputs = {{"x", OnnxType::kFloat, Shape{-1}}, {"shape", OnnxType::kInt64, Shape{2}}};
  network.outputs = {{"y", OnnxType::kFloat, Shape{-1, -1}}};
  const TemporaryFile file(Serialise(network));
  ExpectRefused(file.path(),
                testing::AllOf(StartsWith("fails in a trial run on zeros of shape [2], [2]: "),
                               testing::HasSubstr("Reshape")),
                {2, 1, 1});
}

TEST(ReadNetworkRefusal, OfATrialRunNamesNoPlaceInTheRuntimesSource) {
  // Six numbers, copied for a batch of two only.
  ExpectRefused(
      NetworkPath("seg-dynamic-b2-inside"),
      testing::AllOf(StartsWith("fails in a trial run on zeros of shape [1, 3, 64, 64]: "),
                     testing::HasSubstr("cannot be reshaped"),
                     testing::Not(testing::HasSubstr(".h:")),
                     testing::Not(testing::HasSubstr("onnxruntime::"))),
      {1, 64, 64});
}

}  // namespace
}  // namespace nuvik::alg::common

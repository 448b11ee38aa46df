// What AIEngine::Init takes and refuses. Every refusal is one line on standard error.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "engine/ai_engine.h"
#include "support/case_name.h"
#include "support/network_files.h"
#include "support/standard_error.h"
#include "support/tiny_network.h"

namespace nuvik::alg::common {
namespace {

using test::MakeBuffers;
using test::NetworkPath;
using test::OnnxType;
using test::PassOn;
using test::ReadFile;
using test::Serialise;
using test::StandardErrorOf;
using test::TemporaryFile;
using testing::AllOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// seg-b2-64, written by hand.
AIEngineConfig SegmentationConfig() {
  AIEngineConfig config;
  config.model_path = NetworkPath("seg-b2-64");
  config.input_sizes = {{"images", 98304}};
  config.input_shapes = {{"images", {2, 3, 64, 64}}};
  config.input_types = {{"images", kAIFloat32}};
  config.output_sizes = {{"output0", 25536}, {"output1", 65536}};
  config.output_shapes = {{"output0", {2, 38, 84}}, {"output1", {2, 32, 16, 16}}};
  config.output_types = {{"output0", kAIFloat32}, {"output1", kAIFloat32}};
  config.thread_count = 1;
  return config;
}

// seg-dynamic at batch 3, 64 x 96: 8 x 12 + 4 x 6 + 2 x 3 anchors.
AIEngineConfig DynamicConfig() {
  AIEngineConfig config;
  config.model_path = NetworkPath("seg-dynamic");
  config.input_sizes = {{"images", 221184}};
  config.input_shapes = {{"images", {3, 3, 64, 96}}};
  config.output_sizes = {{"output0", 57456}, {"output1", 147456}};
  config.output_shapes = {{"output0", {3, 38, 126}}, {"output1", {3, 32, 16, 24}}};
  config.thread_count = 1;
  return config;
}

std::string Line(const AIEngineConfig& config, const std::string& what) {
  return "libtessmar_ai_engine: '" + config.model_path + "': " + what;
}

struct Outcome {
  int status;
  std::vector<std::string> lines;
};

Outcome Init(AIEngine& engine, const AIEngineConfig& config) {
  Outcome outcome{};
  outcome.lines = StandardErrorOf([&] { outcome.status = engine.Init(config); });
  return outcome;
}

int Infer(AIEngine& engine, const AIEngineConfig& config) {
  std::map<std::string, AIBuff> inputs = MakeBuffers(config.input_sizes);
  std::map<std::string, AIBuff> outputs = MakeBuffers(config.output_sizes);
  return engine.DoInference(inputs, outputs);
}

// The runtime's own words behind ours, whatever they are.
auto RuntimesWordsBehind(const std::string& ours) {
  return AllOf(StartsWith(ours), testing::Not(ours));
}

template <typename Matcher>
void ExpectRefused(const AIEngineConfig& config, const Matcher& line) {
  AIEngine engine;
  const Outcome outcome = Init(engine, config);
  EXPECT_LT(outcome.status, 0);
  EXPECT_THAT(outcome.lines, ElementsAre(line));
  EXPECT_EQ(Infer(engine, SegmentationConfig()), kAINotInitialised);
}

void ExpectTaken(const AIEngineConfig& config) {
  AIEngine engine;
  const Outcome outcome = Init(engine, config);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.lines, IsEmpty());
}

TEST(EngineInit, TakesANetworkWithFixedDimensions) {
  AIEngine engine;
  const Outcome outcome = Init(engine, SegmentationConfig());
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.lines, IsEmpty());
  EXPECT_EQ(Infer(engine, SegmentationConfig()), kAIOk);
}

TEST(EngineInit, GivesOpenDimensionsTheConfiguredSize) {
  AIEngine engine;
  const Outcome outcome = Init(engine, DynamicConfig());
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.lines, IsEmpty());
  EXPECT_EQ(Infer(engine, DynamicConfig()), kAIOk);
}

TEST(EngineInit, TakesAClassifierAndItsOpenBatch) {
  AIEngineConfig config;
  config.model_path = NetworkPath("classifier-dynamic-batch");
  config.input_sizes = {{"input", 5 * 3 * 224 * 224 * 4}};
  config.input_shapes = {{"input", {5, 3, 224, 224}}};
  config.output_sizes = {{"output", 40}};
  config.output_shapes = {{"output", {5, 2}}};
  config.thread_count = 1;
  ExpectTaken(config);
}

TEST(EngineInit, TakesOneForAnOpenDimension) {
  AIEngineConfig config;
  config.model_path = NetworkPath("classifier-dynamic-batch");
  config.input_sizes = {{"input", 3 * 224 * 224 * 4}};
  config.input_shapes = {{"input", {1, 3, 224, 224}}};
  config.output_sizes = {{"output", 8}};
  config.output_shapes = {{"output", {1, 2}}};
  config.thread_count = 1;
  ExpectTaken(config);
}

TEST(EngineInit, SwitchesTheRuntimesTelemetryOff) {
  AIEngine engine;
  Init(engine, SegmentationConfig());
  EXPECT_STREQ(std::getenv("ORT_DISABLE_TELEMETRY"), "1");
}

TEST(EngineInit, TakesTensorsWithoutATypeAsFloat32) {
  AIEngineConfig config = SegmentationConfig();
  config.input_types.clear();
  config.output_types.clear();
  ExpectTaken(config);
}

TEST(EngineInit, LeavesTheLengthOfAnOutputToItsShapeWhenItIsZero) {
  AIEngineConfig config = SegmentationConfig();
  config.output_sizes = {{"output0", 0}, {"output1", 0}};
  AIEngine engine;
  EXPECT_EQ(Init(engine, config).status, 0);
  EXPECT_EQ(Infer(engine, SegmentationConfig()), kAIOk);
  EXPECT_EQ(Infer(engine, config), kAIWrongSize);  // which makes empty buffers
}

TEST(EngineInit, TakesSomeOfTheOutputs) {
  AIEngineConfig config = SegmentationConfig();
  config.output_sizes.erase("output0");
  ExpectTaken(config);
}

TEST(EngineInit, IgnoresShapesAndTypesOfNamesWithoutALength) {
  AIEngineConfig config = SegmentationConfig();
  config.input_shapes["other"] = {1};
  config.output_shapes["other"] = {1};
  config.output_types["other"] = 77;
  config.output_memory_types["other"] = 1;
  ExpectTaken(config);
}

TEST(EngineInit, TakesHostMemoryOutright) {
  AIEngineConfig config = SegmentationConfig();
  config.input_memory_types = {{"images", kAIHostMemory}};
  config.output_memory_types = {{"output0", kAIHostMemory}, {"output1", kAIHostMemory}};
  ExpectTaken(config);
}

TEST(EngineInit, TakesEveryElementTypeThatHasACode) {
  const std::map<OnnxType, AIDataType> types{
      {OnnxType::kUint8, kAIUint8},   {OnnxType::kFloat16, kAIFloat16},
      {OnnxType::kFloat, kAIFloat32}, {OnnxType::kInt32, kAIInt32},
      {OnnxType::kInt64, kAIInt64},   {OnnxType::kDouble, kAIFloat64}};
  const std::map<AIDataType, std::int32_t> sizes{{kAIUint8, 1}, {kAIFloat16, 2}, {kAIFloat32, 4},
                                                 {kAIInt32, 4}, {kAIInt64, 8},   {kAIFloat64, 8}};
  for (const auto& [onnx, code] : types) {
    SCOPED_TRACE(code);
    const TemporaryFile file(Serialise(PassOn(onnx, {3, 5})));
    AIEngineConfig config;
    config.model_path = file.path();
    config.input_sizes = {{"x", 15 * sizes.at(code)}};
    config.input_shapes = {{"x", {3, 5}}};
    config.input_types = {{"x", code}};
    config.output_sizes = {{"y", 15 * sizes.at(code)}};
    config.output_shapes = {{"y", {3, 5}}};
    config.output_types = {{"y", code}};
    ExpectTaken(config);
  }
}

TEST(EngineInit, CallsEveryElementTypeByItsNameOnBothSides) {
  const std::map<OnnxType, std::string> names{
      {OnnxType::kUint8, "uint8"}, {OnnxType::kFloat16, "float16"}, {OnnxType::kFloat, "float32"},
      {OnnxType::kInt32, "int32"}, {OnnxType::kInt64, "int64"},     {OnnxType::kDouble, "float64"}};
  const std::vector<std::string> codes{"uint8", "float16", "float32", "int32", "int64", "float64"};
  for (const auto& [onnx, name] : names) {
    const TemporaryFile file(Serialise(PassOn(onnx, {1})));
    AIEngineConfig config;
    config.model_path = file.path();
    config.input_sizes = {{"x", 8}};
    config.input_shapes = {{"x", {1}}};
    for (std::uint32_t code = 0; code < codes.size(); ++code) {
      if (codes[code] == name) continue;
      config.input_types = {{"x", code}};
      ExpectRefused(config, Line(config, "input 'x' is configured as " + codes[code] +
                                             ", the network has " + name));
    }
  }
}

TEST(EngineInit, TakesAScalar) {
  const TemporaryFile file(Serialise(PassOn(OnnxType::kFloat, {})));
  AIEngineConfig config;
  config.model_path = file.path();
  config.input_sizes = {{"x", 4}};
  config.input_shapes = {{"x", {}}};
  config.output_sizes = {{"y", 4}};
  config.output_shapes = {{"y", {}}};
  ExpectTaken(config);
}

TEST(EngineInit, TakesAnOutputWhoseRankTheFileDoesNotTell) {
  test::TinyNetwork network;
  network.operation = "Squeeze";
  network.inputs = {{"x", OnnxType::kFloat, std::vector<std::int64_t>{-1, 1, 3}}};
  network.outputs = {{"y", OnnxType::kFloat, std::nullopt}};
  const TemporaryFile file(Serialise(network));
  AIEngineConfig config;
  config.model_path = file.path();
  config.input_sizes = {{"x", 48}};
  config.input_shapes = {{"x", {4, 1, 3}}};
  config.output_sizes = {{"y", 48}};
  config.output_shapes = {{"y", {4, 3}}};
  ExpectTaken(config);
}

TEST(EngineInit, TellsThatAShapeIsNotPositiveWhereTheFileTellsNoRank) {
  const TemporaryFile file(Serialise(PassOn(OnnxType::kFloat, {})));
  AIEngineConfig config;
  config.model_path = file.path();
  config.input_sizes = {{"x", 4}};
  config.input_shapes = {{"x", {2, 0}}};
  config.output_sizes = {{"y", 4}};
  config.output_shapes = {{"y", {}}};
  ExpectRefused(config, AllOf(StartsWith(Line(config, "input 'x' ")), testing::HasSubstr("[2, 0]"),
                              testing::Not(testing::HasSubstr("longer than"))));
}

// --- Files

TEST(EngineInitFile, Missing) {
  AIEngineConfig config = SegmentationConfig();
  config.model_path = NetworkPath("no-such-network");
  ExpectRefused(config, Line(config, "cannot be opened: No such file or directory"));
}

TEST(EngineInitFile, EmptyPath) {
  AIEngineConfig config = SegmentationConfig();
  config.model_path = "";
  ExpectRefused(config, "libtessmar_ai_engine: '': cannot be opened: No such file or directory");
}

TEST(EngineInitFile, BelowAFile) {
  AIEngineConfig config = SegmentationConfig();
  config.model_path = NetworkPath("seg-b2-64") + "/inner.onnx";
  ExpectRefused(config, Line(config, "cannot be opened: Not a directory"));
}

TEST(EngineInitFile, Folder) {
  AIEngineConfig config = SegmentationConfig();
  config.model_path = TEST_NETWORKS_FOLDER;
  ExpectRefused(config, Line(config, "is a folder; expected an ONNX file"));
}

// A file with a hole takes no room on the disk.
TEST(EngineInitFile, LargerThanANetworkCanBe) {
  const test::TemporaryFile file(test::ReadFile(test::NetworkPath("seg-b2-64")));
  auto config = test::ConfigOf(file.path());
  std::filesystem::resize_file(file.path(), 2147483648);
  ExpectRefused(config, Line(config,
                             "has 2147483648 bytes; expected an ONNX file, of at most "
                             "2147483647"));
  std::filesystem::resize_file(file.path(), 2147483647);
  ExpectRefused(config, Line(config, "is not a usable ONNX network: Protobuf parsing failed."));
}

TEST(EngineInitFile, APipeIsRefusedAndNotWaitedFor) {
  const std::string pipe = (std::filesystem::temp_directory_path() / "engine_test_pipe").string() +
                           std::to_string(getpid());
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int writer = open(pipe.c_str(), O_RDWR);
  AIEngineConfig config = SegmentationConfig();
  config.model_path = pipe;
  AIEngine engine;
  const std::vector<std::string> lines = StandardErrorOf([&] {
    std::future<int> status = std::async(std::launch::async, [&] { return engine.Init(config); });
    EXPECT_EQ(status.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    close(writer);  // ends a read that waits for bytes
    EXPECT_LT(status.get(), 0);
  });
  EXPECT_THAT(lines, ElementsAre(Line(config, "is not a regular file; expected an ONNX file")));
  unlink(pipe.c_str());
}

AIEngineConfig ConfigOfFile(const std::string& path) {
  AIEngineConfig config = SegmentationConfig();
  config.model_path = path;
  return config;
}

void ExpectNoNetwork(const std::string& bytes) {
  const TemporaryFile file(bytes);
  const AIEngineConfig config = ConfigOfFile(file.path());
  ExpectRefused(config, RuntimesWordsBehind(Line(config, "is not a usable ONNX network: ")));
}

TEST(EngineInitFile, Empty) {
  const TemporaryFile file("");
  const AIEngineConfig config = ConfigOfFile(file.path());
  ExpectRefused(config, Line(config, "is empty; expected an ONNX file"));
}

TEST(EngineInitFile, TextNamedLikeANetwork) {
  const TemporaryFile file("This is no network.\nNot at all.\n");
  const AIEngineConfig config = ConfigOfFile(file.path());
  ExpectRefused(config, Line(config,
                             "is a text that begins with \"This is no network.\"; expected an ONNX "
                             "file"));
}

TEST(EngineInitFile, BytesThatNothingGivesAway) { ExpectNoNetwork(std::string(300, '\xff')); }

TEST(EngineInitFile, TruncatedAnywhere) {
  const std::string whole = ReadFile(NetworkPath("seg-b2-64"));
  // Cut inside the graph: whatever is left must be refused, not half of it run.
  for (const std::size_t part : {1U, 2U, 10U, 25U, 50U, 75U, 90U}) {
    SCOPED_TRACE(part);
    const std::size_t length = whole.size() * part / 100 + 1;
    const TemporaryFile file(whole.substr(0, length));
    const AIEngineConfig config = ConfigOfFile(file.path());
    ExpectRefused(config, testing::StartsWith(Line(config, "ends in the middle: it has " +
                                                               std::to_string(length) +
                                                               " bytes, and its contents ")));
  }
}

TEST(EngineInitFile, WithAnUnknownOperation) {
  test::TinyNetwork network = PassOn(OnnxType::kFloat, {1});
  network.operation = "NoSuchOperation";
  ExpectNoNetwork(Serialise(network));
}

TEST(EngineInitFile, NamesWithLineBreaksStillGiveOneLine) {
  AIEngineConfig config = SegmentationConfig();
  config.model_path = "no such\nnetwork.onnx";
  ExpectRefused(config,
                "libtessmar_ai_engine: 'no such network.onnx': cannot be opened: No such file or "
                "directory");
}

// --- One wrong entry of the configuration each

struct Fault {
  const char* name;
  std::function<void(AIEngineConfig&)> make;
  const char* what;
};

void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }

class EngineInitFault : public testing::TestWithParam<Fault> {};

TEST_P(EngineInitFault, IsToldInOneLine) {
  AIEngineConfig config = SegmentationConfig();
  GetParam().make(config);
  ExpectRefused(config, Line(config, GetParam().what));
}

INSTANTIATE_TEST_SUITE_P(
    Names, EngineInitFault,
    testing::Values(
        Fault{"UnknownInput",
              [](AIEngineConfig& config) {
                config.input_sizes["picture"] = 98304;
                config.input_shapes["picture"] = {2, 3, 64, 64};
              },
              "input 'picture' is unknown to the network, which has 'images'"},
        Fault{"UnknownOutput",
              [](AIEngineConfig& config) {
                config.output_sizes["output2"] = 4;
                config.output_shapes["output2"] = {1};
              },
              "output 'output2' is unknown to the network, which has 'output0', 'output1'"},
        Fault{"AnInputsNameAsAnOutput",
              [](AIEngineConfig& config) { config.output_sizes["images"] = 98304; },
              "output 'images' is unknown to the network, which has 'output0', 'output1'"},
        Fault{"NoInputs", [](AIEngineConfig& config) { config.input_sizes.clear(); },
              "input 'images' of the network is not configured; expected its length in bytes"},
        Fault{"NoOutputs", [](AIEngineConfig& config) { config.output_sizes.clear(); },
              "no output is configured; the network has 'output0', 'output1'"}),
    test::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Types, EngineInitFault,
    testing::Values(
        Fault{"HalfForFloatInput",
              [](AIEngineConfig& config) { config.input_types["images"] = kAIFloat16; },
              "input 'images' is configured as float16, the network has float32"},
        Fault{"BytesForFloatInput",
              [](AIEngineConfig& config) { config.input_types["images"] = kAIUint8; },
              "input 'images' is configured as uint8, the network has float32"},
        Fault{"IntegersOfTheSameLength",
              [](AIEngineConfig& config) { config.output_types["output0"] = kAIInt32; },
              "output 'output0' is configured as int32, the network has float32"},
        Fault{"DoubleOutput",
              [](AIEngineConfig& config) { config.output_types["output1"] = kAIFloat64; },
              "output 'output1' is configured as float64, the network has float32"},
        Fault{"LongOutput",
              [](AIEngineConfig& config) { config.output_types["output1"] = kAIInt64; },
              "output 'output1' is configured as int64, the network has float32"},
        Fault{"ACodeThatIsNone", [](AIEngineConfig& config) { config.output_types["output0"] = 9; },
              "output 'output0' is configured as type code 9, the network has float32"}),
    test::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Shapes, EngineInitFault,
    testing::Values(
        Fault{"NoInputShape", [](AIEngineConfig& config) { config.input_shapes.clear(); },
              "input 'images' has no configured shape, the network has [2, 3, 64, 64]"},
        Fault{"NoOutputShape",
              [](AIEngineConfig& config) { config.output_shapes.erase("output1"); },
              "output 'output1' has no configured shape, the network has [2, 32, 16, 16]"},
        Fault{"RankThree",
              [](AIEngineConfig& config) {
                config.input_shapes["images"] = {2, 3, 64};
              },
              "input 'images' is configured with shape [2, 3, 64], the network has [2, 3, 64, 64]"},
        Fault{"RankFive",
              [](AIEngineConfig& config) {
                config.input_shapes["images"] = {2, 3, 64, 64, 1};
              },
              "input 'images' is configured with shape [2, 3, 64, 64, 1], the network has [2, 3, "
              "64, 64]"},
        Fault{"NoDimensions", [](AIEngineConfig& config) { config.input_shapes["images"] = {}; },
              "input 'images' is configured with shape [], the network has [2, 3, 64, 64]"},
        Fault{"OtherBatch",
              [](AIEngineConfig& config) {
                config.input_shapes["images"] = {1, 3, 64, 64};
              },
              "input 'images' is configured with shape [1, 3, 64, 64], the network has [2, 3, 64, "
              "64]"},
        Fault{"OtherWidth",
              [](AIEngineConfig& config) {
                config.input_shapes["images"] = {2, 3, 64, 65};
              },
              "input 'images' is configured with shape [2, 3, 64, 65], the network has [2, 3, 64, "
              "64]"},
        Fault{"TransposedOutput",
              [](AIEngineConfig& config) {
                config.output_shapes["output0"] = {2, 84, 38};
              },
              "output 'output0' is configured with shape [2, 84, 38], the network has [2, 38, 84]"},
        Fault{"OpenWhereTheNetworkIsNot",
              [](AIEngineConfig& config) {
                config.input_shapes["images"] = {-1, 3, 64, 64};
              },
              "input 'images' is configured with shape [?, 3, 64, 64], the network has [2, 3, 64, "
              "64]"}),
    test::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Lengths, EngineInitFault,
    testing::Values(
        Fault{"OneByteTooFew", [](AIEngineConfig& config) { config.input_sizes["images"] = 98303; },
              "input 'images' is configured with 98303 bytes, shape [2, 3, 64, 64] of float32 "
              "takes 98304"},
        Fault{"OneByteTooMany",
              [](AIEngineConfig& config) { config.input_sizes["images"] = 98305; },
              "input 'images' is configured with 98305 bytes, shape [2, 3, 64, 64] of float32 "
              "takes 98304"},
        Fault{"ZeroForAnInput", [](AIEngineConfig& config) { config.input_sizes["images"] = 0; },
              "input 'images' is configured with 0 bytes, shape [2, 3, 64, 64] of float32 takes "
              "98304"},
        Fault{"NegativeInput",
              [](AIEngineConfig& config) { config.input_sizes["images"] = -98304; },
              "input 'images' is configured with -98304 bytes, shape [2, 3, 64, 64] of float32 "
              "takes 98304"},
        Fault{"WrongOutput", [](AIEngineConfig& config) { config.output_sizes["output1"] = 1; },
              "output 'output1' is configured with 1 bytes, shape [2, 32, 16, 16] of float32 takes "
              "65536"},
        Fault{"NegativeOutput", [](AIEngineConfig& config) { config.output_sizes["output0"] = -1; },
              "output 'output0' is configured with -1 bytes, shape [2, 38, 84] of float32 takes "
              "25536"}),
    test::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Places, EngineInitFault,
    testing::Values(
        Fault{"InputMemory",
              [](AIEngineConfig& config) { config.input_memory_types["images"] = 1; },
              "input 'images' is configured outside host memory; expected memory type 0"},
        Fault{"OutputMemory",
              [](AIEngineConfig& config) { config.output_memory_types["output1"] = 2; },
              "output 'output1' is configured outside host memory; expected memory type 0"},
        Fault{"NegativeThreads", [](AIEngineConfig& config) { config.thread_count = -1; },
              "thread count is -1; expected 0 to 1024"},
        Fault{"TooManyThreads", [](AIEngineConfig& config) { config.thread_count = 1025; },
              "thread count is 1025; expected 0 to 1024"},
        Fault{"AnotherDevice", [](AIEngineConfig& config) { config.device_id = 1; },
              "device 1 is unknown; expected 0, the processor"},
        Fault{"ANegativeDevice", [](AIEngineConfig& config) { config.device_id = -1; },
              "device -1 is unknown; expected 0, the processor"}),
    test::CaseName());

// --- Several wrong entries at once: the first of them is told

TEST(EngineInitFaults, OfATensorComeAsTypeShapeMemoryLength) {
  AIEngineConfig config = SegmentationConfig();
  config.input_types["images"] = kAIUint8;
  config.input_shapes["images"] = {2, 3, 64};
  config.input_memory_types["images"] = 1;
  config.input_sizes["images"] = 7;
  ExpectRefused(config,
                Line(config, "input 'images' is configured as uint8, the network has float32"));
  config.input_types.clear();
  ExpectRefused(config, Line(config,
                             "input 'images' is configured with shape [2, 3, 64], the network has "
                             "[2, 3, 64, 64]"));
  config.input_shapes["images"] = {2, 3, 64, 64};
  ExpectRefused(config, Line(config,
                             "input 'images' is configured outside host memory; expected memory "
                             "type 0"));
  config.input_memory_types.clear();
  ExpectRefused(config, Line(config,
                             "input 'images' is configured with 7 bytes, shape [2, 3, 64, 64] of "
                             "float32 takes 98304"));
}

TEST(EngineInitFaults, OfThreadsComeBeforeTheDeviceAndTheFile) {
  AIEngineConfig config = SegmentationConfig();
  config.model_path = NetworkPath("no-such-network");
  config.device_id = 1;
  config.thread_count = -1;
  ExpectRefused(config, Line(config, "thread count is -1; expected 0 to 1024"));
  config.thread_count = 1;
  ExpectRefused(config, Line(config, "device 1 is unknown; expected 0, the processor"));
}

// The file is opened only once the thread count is found to be in range.
TEST(EngineInitThreads, AThousandAndTwentyFourAreInRange) {
  AIEngineConfig config = SegmentationConfig();
  config.model_path = NetworkPath("no-such-network");
  config.thread_count = 1024;
  ExpectRefused(config, Line(config, "cannot be opened: No such file or directory"));
  config.thread_count = 1025;
  ExpectRefused(config, Line(config, "thread count is 1025; expected 0 to 1024"));
}

TEST(EngineInitMisspelling, OfTheOnlyInputNamesWhatWasConfigured) {
  AIEngineConfig config = SegmentationConfig();
  config.input_sizes = {{"image", 98304}};
  config.input_shapes = {{"image", {2, 3, 64, 64}}};
  ExpectRefused(config, AllOf(testing::HasSubstr("'images'"), testing::HasSubstr("'image'")));
}

// --- Open dimensions

TEST(EngineInitOpenDimensions, MustBeConfiguredAndPositive) {
  AIEngineConfig config = DynamicConfig();
  config.input_shapes["images"] = {-1, 3, 64, 96};
  ExpectRefused(config, Line(config,
                             "input 'images' is configured with shape [?, 3, 64, 96], the network "
                             "has [?, 3, ?, ?]"));
  config.input_shapes["images"] = {3, 3, 0, 96};
  ExpectRefused(config, Line(config,
                             "input 'images' is configured with shape [3, 3, 0, 96], the network "
                             "has [?, 3, ?, ?]"));
}

TEST(EngineInitOpenDimensions, AreNotThoseOfZero) {
  const TemporaryFile file(Serialise(PassOn(OnnxType::kFloat, {0})));
  AIEngineConfig config;
  config.model_path = file.path();
  config.input_sizes = {{"x", 4}};
  config.input_shapes = {{"x", {1}}};
  config.output_sizes = {{"y", 4}};
  config.output_shapes = {{"y", {1}}};
  ExpectRefused(config,
                Line(config, "input 'x' is configured with shape [1], the network has [0]"));
}

TEST(EngineInitOpenDimensions, DoNotOpenTheFixedOnes) {
  AIEngineConfig config = DynamicConfig();
  config.input_shapes["images"] = {3, 4, 64, 96};
  ExpectRefused(config, Line(config,
                             "input 'images' is configured with shape [3, 4, 64, 96], the network "
                             "has [?, 3, ?, ?]"));
}

TEST(EngineInitOpenDimensions, MustNotMakeATensorLongerThanItsLengthCanTell) {
  AIEngineConfig config = DynamicConfig();
  config.input_shapes["images"] = {1, 3, 13378, 13378};
  ExpectRefused(config, Line(config,
                             "input 'images' has shape [1, 3, 13378, 13378]; expected positive "
                             "dimensions and at most 2147483647 bytes"));
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  config.input_shapes["images"] = {kMax, 3, kMax, kMax};
  ExpectRefused(config, StartsWith(Line(config, "input 'images' has shape [")));
}

TEST(EngineInitTrialRun, RefusesOutputShapesThatTheNetworkDoesNotGive) {
  AIEngineConfig config = DynamicConfig();
  config.output_shapes["output0"] = {3, 38, 127};
  config.output_sizes["output0"] = 0;
  ExpectRefused(config, RuntimesWordsBehind(Line(config, "fails in a trial run on zeros: ")));
}

TEST(EngineInitTrialRun, RefusesANetworkThatFailsOnZeros) {
  AIEngineConfig config;
  config.model_path = NetworkPath("fails-at-run");
  config.input_sizes = {{"x", 16}};
  config.input_shapes = {{"x", {1, 4}}};
  config.output_sizes = {{"y", 4}};
  config.output_shapes = {{"y", {1, 1}}};
  ExpectRefused(config, RuntimesWordsBehind(Line(config, "fails in a trial run on zeros: ")));
}

// --- Element types that have no code

struct TypeCase {
  const char* name;
  OnnxType type;
};

void PrintTo(const TypeCase& type, std::ostream* out) { *out << type.name; }

class EngineInitType : public testing::TestWithParam<TypeCase> {};

TEST_P(EngineInitType, IsRefusedByItsName) {
  const TemporaryFile file(Serialise(PassOn(GetParam().type, {1, 4})));
  AIEngineConfig config;
  config.model_path = file.path();
  config.input_sizes = {{"x", 16}};
  config.input_shapes = {{"x", {1, 4}}};
  config.output_sizes = {{"y", 16}};
  config.output_shapes = {{"y", {1, 4}}};
  for (const std::uint32_t code : {0U, 1U, 2U, 3U, 4U, 5U}) {
    config.input_types["x"] = code;
    ExpectRefused(config,
                  AllOf(StartsWith(Line(config, "input 'x' is configured as ")),
                        testing::EndsWith(std::string(", the network has ") + GetParam().name)));
  }
}

INSTANTIATE_TEST_SUITE_P(
    WithoutACode, EngineInitType,
    testing::Values(TypeCase{"bool", OnnxType::kBool}, TypeCase{"string", OnnxType::kString},
                    TypeCase{"int8", OnnxType::kInt8}, TypeCase{"int16", OnnxType::kInt16},
                    TypeCase{"uint16", OnnxType::kUint16}, TypeCase{"uint32", OnnxType::kUint32},
                    TypeCase{"uint64", OnnxType::kUint64}),
    test::CaseName());

TEST(EngineInitElementType, BoolAndStringNetworksOfTheRepositoryAreRefused) {
  for (const char* name : {"bool", "string"}) {
    AIEngineConfig config;
    config.model_path = NetworkPath(name);
    config.input_sizes = {{"x", 4}};
    config.input_shapes = {{"x", {1, 4}}};
    config.output_sizes = {{"y", 4}};
    config.output_shapes = {{"y", {1, 4}}};
    config.input_types = {{"x", kAIUint8}};
    config.output_types = {{"y", kAIUint8}};
    ExpectRefused(config, Line(config, std::string("input 'x' is configured as uint8, the network "
                                                   "has ") +
                                           name));
  }
}

TEST(EngineInitElementType, OfAnOutputThatIsNotAskedForDoesNotMatter) {
  test::TinyNetwork network;
  network.operation = "Split";
  network.inputs = {{"x", OnnxType::kFloat, std::vector<std::int64_t>{4}}};
  network.outputs = {{"y", OnnxType::kFloat, std::vector<std::int64_t>{2}},
                     {"z", OnnxType::kFloat, std::vector<std::int64_t>{2}}};
  const TemporaryFile file(Serialise(network));
  AIEngineConfig config;
  config.model_path = file.path();
  config.input_sizes = {{"x", 16}};
  config.input_shapes = {{"x", {4}}};
  config.output_sizes = {{"z", 8}};
  config.output_shapes = {{"z", {2}}};
  ExpectTaken(config);
}

// --- Init again

TEST(EngineInitAgain, ReplacesTheNetwork) {
  AIEngine engine;
  ASSERT_EQ(Init(engine, SegmentationConfig()).status, 0);
  ASSERT_EQ(Init(engine, DynamicConfig()).status, 0);
  EXPECT_EQ(Infer(engine, SegmentationConfig()), kAIWrongSize);
  EXPECT_EQ(Infer(engine, DynamicConfig()), kAIOk);
}

TEST(EngineInitAgain, LeavesNoNetworkWhenItFails) {
  AIEngine engine;
  ASSERT_EQ(Init(engine, SegmentationConfig()).status, 0);
  ASSERT_EQ(Infer(engine, SegmentationConfig()), kAIOk);
  AIEngineConfig config = SegmentationConfig();
  config.model_path = NetworkPath("no-such-network");
  ASSERT_LT(Init(engine, config).status, 0);
  EXPECT_EQ(Infer(engine, SegmentationConfig()), kAINotInitialised);
}

TEST(EngineInitAgain, SucceedsAfterAFailure) {
  AIEngine engine;
  AIEngineConfig config = SegmentationConfig();
  config.thread_count = -1;
  ASSERT_LT(Init(engine, config).status, 0);
  ASSERT_EQ(Init(engine, SegmentationConfig()).status, 0);
  EXPECT_EQ(Infer(engine, SegmentationConfig()), kAIOk);
}

TEST(EngineInitAgain, DoesNotNeedTheConfigurationAfterwards) {
  AIEngine engine;
  {
    const AIEngineConfig config = SegmentationConfig();
    ASSERT_EQ(engine.Init(config), 0);
  }
  EXPECT_EQ(Infer(engine, SegmentationConfig()), kAIOk);
}

}  // namespace
}  // namespace nuvik::alg::common

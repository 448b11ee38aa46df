// The built program's `inspect`, and what it printed as C++ when the tests were built.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "engine/ai_engine.h"
#include "engine/network_reader.h"
#include "support/paths.h"
#include "support/program.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using nuvik::alg::common::AIEngine;
using nuvik::alg::common::AIEngineConfig;
using nuvik::alg::common::Network;
using nuvik::alg::common::ReadNetwork;
using test::CommonNetwork;
using test::ProgramResult;
using test::RunProgram;
using testing::HasSubstr;
using testing::StartsWith;

void ExpectEqual(const AIEngineConfig& pasted, const std::string& path) {
  Network network;
  std::string error;
  ASSERT_EQ(ReadNetwork(path, {}, network, error), 0) << error;
  EXPECT_EQ(pasted.model_path, path);
  EXPECT_EQ(pasted.input_sizes, network.config.input_sizes);
  EXPECT_EQ(pasted.output_sizes, network.config.output_sizes);
  EXPECT_EQ(pasted.input_shapes, network.config.input_shapes);
  EXPECT_EQ(pasted.output_shapes, network.config.output_shapes);
  EXPECT_EQ(pasted.input_types, network.config.input_types);
  EXPECT_EQ(pasted.output_types, network.config.output_types);
  AIEngine engine;
  EXPECT_EQ(engine.Init(pasted), 0);
}

TEST(Inspect, PrintsConfigurationsThatCompileAndRun) {
#include "pasted_configs.inc"
  ExpectEqual(seg_b2_64_f16_config, CommonNetwork("seg-b2-64-f16"));
  ExpectEqual(classifier_224_config, CommonNetwork("classifier-224"));
}

TEST(Inspect, DescribesEveryFileAndNamesTheBadOnes) {
  const test::TemporaryFolder folder;
  const std::string text = folder.Write("text.onnx", "This is a text.\n");
  const ProgramResult result = RunProgram({"inspect", CommonNetwork("seg-b2-64"), text});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output,
              StartsWith(CommonNetwork("seg-b2-64") + "\n  producer    dirty_seg\n"));
  EXPECT_THAT(result.output,
              HasSubstr("\n\n" + text + "\n  unusable    is a text that begins with "));
  EXPECT_THAT(result.errors,
              StartsWith("dirty_seg: error: '" + text + "': is a text that begins with "));
}

TEST(Inspect, SaysThatAnotherBatchMayHelpWhereItIsOpenAndTheRunFails) {
  const std::string model = CommonNetwork("seg-dynamic-b2-inside");
  const ProgramResult one = RunProgram({"inspect", model});
  EXPECT_EQ(one.status, 2);
  const std::string hint = "; its batch is open, and this is with 1: try another with --batch";
  EXPECT_THAT(one.errors, HasSubstr(hint + "\n"));
  EXPECT_THAT(one.output, HasSubstr("  segments    no: fails in a trial run on zeros of shape "));
  EXPECT_THAT(one.output, HasSubstr(hint));
  EXPECT_THAT(one.errors + one.output, Not(HasSubstr(".h:")));
  const ProgramResult two = RunProgram({"inspect", "--batch", "2", model});
  EXPECT_EQ(two.status, 0);
  EXPECT_EQ(two.errors, "");
  EXPECT_THAT(two.output, HasSubstr("  segments    yes: batch 2, "));
}

TEST(Inspect, SaysThatAnotherBatchMayHelpWhereTheOutputsHaveAnother) {
  const std::string model = CommonNetwork("seg-b2-64-open-input");
  const ProgramResult one = RunProgram({"inspect", model});
  EXPECT_THAT(one.output, HasSubstr("have shape [2, 32, 16, 16]; expected [1, coefficients, S, S] "
                                    "with S a divisor of 64; its batch is open, and this is with "
                                    "1: try another with --batch\n"));
  const ProgramResult two = RunProgram({"inspect", "--batch", "2", model});
  EXPECT_THAT(two.output, HasSubstr("  segments    yes: batch 2, "));
}

TEST(Inspect, SaysNothingOfABatchThatIsFixed) {
  const ProgramResult result = RunProgram({"inspect", CommonNetwork("fails-at-run")});
  EXPECT_THAT(result.output, Not(HasSubstr("--batch")));
}

TEST(Inspect, FailsWhereNoFileIsANetwork) {
  const ProgramResult result = RunProgram({"inspect", "a.onnx", "b.onnx"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.errors,
            "dirty_seg: error: 'a.onnx': cannot be opened: No such file or directory\n"
            "dirty_seg: error: 'b.onnx': cannot be opened: No such file or directory\n");
}

TEST(Inspect, WritesJson) {
  const ProgramResult result =
      RunProgram({"inspect", "--format", "json", "--batch", "4", CommonNetwork("seg-dynamic")});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
  const json reports = json::parse(result.output);
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0]["segmentation"]["batch"], 4);
}

TEST(Inspect, WritesYaml) {
  const ProgramResult result =
      RunProgram({"inspect", "--format", "yaml", CommonNetwork("classifier-224")});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, StartsWith("---  # classifier\nmodel_path: \""));
  EXPECT_THAT(result.output, HasSubstr("\n  input: [1, 3, 224, 224]\n"));
}

TEST(Inspect, RefusesAnUnknownFormatWithTheNearest) {
  const ProgramResult result = RunProgram({"inspect", "--format", "yml", "x.onnx"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors,
              HasSubstr("yml is not one of text, json, cpp, yaml; did you mean 'yaml'?"));
}

}  // namespace
}  // namespace dirty_seg

// Networks with other names for their inputs and outputs, byte by byte.
#include "networks/tensor_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <vector>

#include "base/errors.h"
#include "engine/ai_engine.h"
#include "networks/networks.h"
#include "support/paths.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using nuvik::alg::common::AIBuff;
using nuvik::alg::common::AIEngineConfig;
using test::HostNetwork;
using test::ReadFile;
using testing::EndsWith;

// ---- ONNX messages, written by hand -------------------------------------------------------------

std::string Number(std::uint64_t value) {
  std::string bytes;
  for (; value > 127; value /= 128) bytes += static_cast<char>(value % 128 + 128);
  return bytes + static_cast<char>(value);
}

std::string Integer(std::uint64_t field, std::uint64_t value) {
  return Number(8 * field) + Number(value);
}

std::string Text(std::uint64_t field, const std::string& content) {
  return Number(8 * field + 2) + Number(content.size()) + content;
}

std::string Node(const std::string& input, const std::string& output,
                 const std::string& attributes = "") {
  return Text(1, input) + Text(1, "") + Text(2, output) + Text(3, "x") + Text(4, "Relu") +
         attributes + Text(6, "x to y");
}

// A graph within another uses names of that one.
std::string Branch(const std::string& x, const std::string& y) {
  return Text(1, Node(x, "z")) + Text(1, Node(y, "z2")) + Text(2, "x") + Text(12, Text(1, y));
}

std::string Constant(const std::string& name) { return Integer(2, 1) + Text(8, name); }

// A graph with input `x` and output `y`, wherever a name can stand, and with the words x and y
// where they mean something else.
std::string Graph(const std::string& x, const std::string& y) {
  const std::string attributes = Text(5, Text(1, "x") + Text(6, Branch(x, y)) + Integer(20, 5)) +
                                 Text(5, Text(11, Branch(x, y)) + Text(4, "x")) +
                                 Text(5, Text(5, Constant("y")) + Text(8, "x"));
  return Text(1, Node(x, "inner")) + Text(1, Node("inner", y, attributes)) + Text(2, "x") +
         Text(5, Constant(y)) + Text(15, Text(1, Constant(y)) + Text(2, Constant("y"))) +
         Text(11, Text(1, x) + Text(3, "x")) + Text(12, Text(1, y) + Text(2, "")) +
         Text(13, Text(1, x)) + Text(14, Text(1, y) + Text(2, Text(1, "x") + Text(2, x)));
}

std::string Model(const std::string& x, const std::string& y, const std::string& more = "") {
  const std::string function = Text(1, "f") + Text(4, "x") + Text(7, Node("x", "y"));
  return Integer(1, 8) + Text(2, "x") + Text(7, Graph(x, y)) + Text(8, Integer(2, 17)) +
         Text(14, Text(1, "x") + Text(2, "y")) + Text(25, function) + more;
}

// ---- Tests --------------------------------------------------------------------------------------

class TensorNamesOf : public testing::Test {
 protected:
  std::string Renamed(const std::string& bytes, const TensorNames& names) {
    RenameTensors(folder_.Write("in.onnx", bytes), folder_ / "out.onnx", names);
    return ReadFile(folder_ / "out.onnx");
  }

  // Without the name of the file, which every refusal begins with. Nothing is written.
  std::string RefusalOf(const std::string& bytes, const TensorNames& names = {{"y", "output"}}) {
    const std::string path = folder_.Write("in.onnx", bytes);
    const std::string refusal =
        test::RejectionOf<SetupError>([&] { RenameTensors(path, folder_ / "out.onnx", names); });
    EXPECT_FALSE(std::filesystem::exists(folder_ / "out.onnx"));
    const std::string begin = "'" + path + "': ";
    EXPECT_EQ(refusal.substr(0, begin.size()), begin);
    return refusal.substr(begin.size());
  }

  test::TemporaryFolder folder_;
};

TEST_F(TensorNamesOf, AGraphChangeWhereverTheyStandAndNothingElseDoes) {
  EXPECT_EQ(Renamed(Model("x", "y"), {{"y", "output"}}), Model("x", "output"));
  EXPECT_EQ(Renamed(Model("x", "y"), {{"x", "input"}, {"y", "output"}}), Model("input", "output"));
}

// 200 bytes take two for their length, and so do the messages around them.
TEST_F(TensorNamesOf, AnyLengthAreWritten) {
  const std::string name(200, 'n');
  EXPECT_EQ(Renamed(Model("x", "y"), {{"y", name}}), Model("x", name));
  EXPECT_EQ(Renamed(Model("x", name), {{name, "y"}}), Model("x", "y"));
}

std::string TwoTensors(const std::string& x, const std::string& y) {
  return Text(7, Text(1, Node(x, y)) + Text(11, Text(1, x)) + Text(12, Text(1, y)));
}

// A length may have more bytes than it needs; one of a message without such a name keeps them.
TEST_F(TensorNamesOf, OtherMessagesStayAsTheyWere) {
  const auto model = [](const std::string& y) {
    const std::string other = Node("a", "b");
    const std::string long_length = {static_cast<char>(other.size() + 128), '\0'};
    return Text(7, Text(1, Node("x", y)) + Number(8 * 1 + 2) + long_length + other +
                       Text(11, Text(1, "x")) + Text(12, Text(1, y)));
  };
  EXPECT_EQ(Renamed(model("y"), {{"y", "output"}}), model("output"));
}

TEST_F(TensorNamesOf, TwoTensorsMayBeSwapped) {
  EXPECT_EQ(Renamed(TwoTensors("x", "y"), {{"x", "y"}, {"y", "x"}}), TwoTensors("y", "x"));
}

TEST_F(TensorNamesOf, AClassifierMakeItOneThatLoadsAndRuns) {
  const std::string path = folder_ / "fece.onnx";
  RenameTensors(HostNetwork("classifier-other-input"), path, {{"picture", "input"}});
  const AIEngineConfig config = ReadFeceNetwork(path, 1);
  nuvik::alg::common::AIEngine engine;
  ASSERT_EQ(engine.Init(config), 0);
  constexpr std::size_t kPlane = 224 * 224;
  std::vector<float> picture(3 * kPlane, 0.0F);
  std::fill_n(picture.begin(), kPlane, 0.5F);
  std::fill_n(picture.begin() + 2 * kPlane, kPlane, 0.25F);
  std::map<std::string, AIBuff> inputs;
  std::map<std::string, AIBuff> outputs;
  inputs["input"].data->resize(picture.size() * sizeof(float));
  inputs["input"].shape = {1, 3, 224, 224};
  inputs["input"].data_type = nuvik::alg::common::kAIFloat32;
  std::memcpy(inputs["input"].data->data(), picture.data(), picture.size() * sizeof(float));
  outputs["output"].data->resize(2 * sizeof(float));
  outputs["output"].shape = {1, 2};
  outputs["output"].data_type = nuvik::alg::common::kAIFloat32;
  ASSERT_EQ(engine.DoInference(inputs, outputs), 0);
  float answer[2];
  std::memcpy(answer, outputs["output"].data->data(), sizeof(answer));
  EXPECT_FLOAT_EQ(answer[0], 0.5F);   // the mean of the first plane
  EXPECT_FLOAT_EQ(answer[1], 0.25F);  // of the last
}

TEST_F(TensorNamesOf, ANetworkThatDoesNotHaveThemAreRefused) {
  EXPECT_EQ(RefusalOf(TwoTensors("x", "y"), {{"inner", "output"}}),
            "has no input or output 'inner'; inputs: 'x'; outputs: 'y'");
  EXPECT_EQ(RefusalOf(Model("x", "y"), {{"inner", "output"}}),
            "has no input or output 'inner'; inputs: 'x'; outputs: 'y'");
}

TEST_F(TensorNamesOf, AnotherTensorAreRefused) {
  for (const char* taken : {"inner", "z", "x"}) {
    EXPECT_EQ(RefusalOf(Model("x", "y"), {{"y", taken}}),
              "has another tensor '" + std::string(taken) + "' already");
  }
  EXPECT_EQ(RefusalOf(TwoTensors("x", "y"), {{"x", "a"}, {"y", "a"}}),
            "two tensors would be called 'a'");
  EXPECT_EQ(RefusalOf(Model("x", "y"), {{"y", ""}}), "'y' gets an empty name");
}

TEST_F(TensorNamesOf, WhatIsNoNetworkAreRefused) {
  const std::string whole = TwoTensors("x", "y");
  for (std::size_t size = 1; size < whole.size(); ++size) {
    ASSERT_EQ(RefusalOf(whole.substr(0, size)), "is not a whole ONNX file") << size;
  }
  EXPECT_EQ(RefusalOf(""), "is not an ONNX file: it has no graph");
  EXPECT_EQ(RefusalOf(Integer(7, 1)), "is not an ONNX file: it has no graph");
  EXPECT_EQ(RefusalOf("a text\n"), "is not a whole ONNX file");
  EXPECT_EQ(RefusalOf(Model("x", "y", Text(20, ""))),
            "has training graphs; expected a network to run");
  std::string deep;
  for (int i = 0; i < 300; ++i) deep = Text(1, Text(5, Text(6, deep)));
  EXPECT_EQ(RefusalOf(Text(7, deep)), "is not a whole ONNX file");
  EXPECT_THAT(test::RejectionOf<SetupError>([&] {
                RenameTensors(folder_ / "gone.onnx", folder_ / "out.onnx", {{"a", "b"}});
              }),
              EndsWith("gone.onnx': cannot be opened: No such file or directory"));
  EXPECT_THAT(test::RejectionOf<SetupError>([&] {
                RenameTensors(folder_.path(), folder_ / "out.onnx", {{"a", "b"}});
              }),
              EndsWith("is a folder; expected an ONNX file"));
}

// Where the weights are is told from the file's own folder.
TEST_F(TensorNamesOf, WeightsElsewhereStayInTheirFolder) {
  const auto with_weights = [](const std::string& y) {
    return Text(
        7, Text(1, Node("w", y)) + Text(5, Text(8, "w") + Text(13, "")) + Text(12, Text(1, y)));
  };
  const std::string path = folder_.Write("in.onnx", with_weights("y"));
  std::filesystem::create_directory(folder_ / "other");
  EXPECT_EQ(test::RejectionOf<SetupError>([&] {
              RenameTensors(path, folder_ / "other/out.onnx", {{"y", "output"}});
            }),
            "'" + path + "': has weights in files beside it, which '" + folder_ / "other/out.onnx" +
                "' would not find; expected a file in the same folder");
  EXPECT_EQ(Renamed(with_weights("y"), {{"y", "output"}}), with_weights("output"));
  const std::string in_attribute =
      Text(7, Text(1, Node("x", "y", Text(5, Text(5, Text(13, ""))))) + Text(12, Text(1, "y")));
  EXPECT_THAT(test::RejectionOf<SetupError>([&] {
                RenameTensors(folder_.Write("in.onnx", in_attribute), folder_ / "other/out.onnx",
                              {{"y", "output"}});
              }),
              testing::HasSubstr("has weights in files beside it"));
}

}  // namespace
}  // namespace dirty_seg

// The built program's `rename-tensors`.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/detect_fixture.h"

namespace dirty_seg {
namespace {

using test::Arguments;
using test::HostNetwork;
using test::ReadFile;
using test::RunProgram;
using test::operator+;
using testing::HasSubstr;

class Rename : public test::DetectFixture {
 protected:
  std::string Refusal(const Arguments& words) {
    return RefusalOf(Arguments{"rename-tensors"} + words);
  }

  std::string given_ = HostNetwork("classifier-other-input");
  std::string made_ = folder_ / "renamed.onnx";
};

// The hint of the run that refuses the network is the command that mends it.
TEST_F(Rename, MakesAClassifierThatARunTakes) {
  const std::string picture = Picture("red.png", test::kRedPixel);
  const Arguments before = Command() + Classifier(given_) + Arguments{picture};
  EXPECT_THAT(RefusalOf(before), HasSubstr("this makes such a file: dirty_seg rename-tensors " +
                                           given_ + " renamed.onnx picture=input\n"));
  const auto result = RunProgram({"rename-tensors", given_, made_, "picture=input"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors, "dirty_seg: '" + made_ + "' written\n");
  const auto run = RunProgram(Command() + Classifier(made_) + Arguments{picture});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(test::ParseLines(run.output).at(0)["fece_candidates"].size(), 2U);
}

TEST_F(Rename, ThereAndBackGivesTheSameFile) {
  const std::string back = folder_ / "back.onnx";
  EXPECT_EQ(RunProgram({"rename-tensors", given_, made_, "picture=input", "output=prob"}).status,
            0);
  EXPECT_NE(ReadFile(made_), ReadFile(given_));
  EXPECT_EQ(RunProgram({"rename-tensors", made_, back, "prob=output", "input=picture"}).status, 0);
  EXPECT_EQ(ReadFile(back), ReadFile(given_));
}

TEST_F(Rename, ReplacesAFileOnlyWhenTold) {
  folder_.Write("renamed.onnx", "old");
  EXPECT_EQ(Refusal({given_, made_, "picture=input"}),
            "dirty_seg: error: '" + made_ + "' already exists; --overwrite replaces it\n");
  EXPECT_EQ(ReadFile(made_), "old");
  EXPECT_EQ(RunProgram({"rename-tensors", given_, made_, "--overwrite", "picture=input"}).status,
            0);
  EXPECT_GT(ReadFile(made_).size(), 100U);
}

TEST_F(Rename, RefusesWhatItCannotDo) {
  EXPECT_EQ(Refusal({given_, made_, "input"}),
            "dirty_seg: error: input: expected OLD=NEW, as data=input\n");
  EXPECT_THAT(Refusal({given_, made_, "=input"}), HasSubstr("=input: expected OLD=NEW"));
  EXPECT_THAT(Refusal({given_, made_, "picture="}), HasSubstr("picture=: expected OLD=NEW"));
  EXPECT_THAT(Refusal({given_, made_, "picture=a", "picture=b"}),
              HasSubstr("picture=b: 'picture' is renamed twice"));
  EXPECT_THAT(Refusal({given_, made_, "data=input"}),
              HasSubstr("has no input or output 'data'; inputs: 'picture'; outputs: 'output'"));
  EXPECT_THAT(Refusal({given_, made_, "picture=output"}),
              HasSubstr("has another tensor 'output' already"));
  EXPECT_THAT(Refusal({given_, folder_ / "gone/out.onnx", "picture=input"}),
              HasSubstr("gone/out.onnx"));
  EXPECT_THAT(Refusal({given_, made_}), HasSubstr("OLD=NEW"));
  EXPECT_FALSE(std::filesystem::exists(made_));
}

}  // namespace
}  // namespace dirty_seg

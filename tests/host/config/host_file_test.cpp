// What is read from host files, and the text of every rejection.
#include "config/host_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/errors.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class HostFileTest : public testing::Test {
 protected:
  HostFile Read(const std::string& yaml) { return ReadHostFile(folder_.Write("host.yaml", yaml)); }

  std::string RejectionOf(const std::string& yaml) {
    const std::string path = folder_.Write("host.yaml", yaml);
    const std::string text = test::RejectionOf<SetupError>([&] { ReadHostFile(path); });
    EXPECT_EQ(text.rfind("'" + path + "'", 0), 0U) << text;
    return text.substr(path.size() + 2);
  }

  test::TemporaryFolder folder_;
};

TEST_F(HostFileTest, HasOptionsAndCommands) {
  const HostFile file =
      Read("model: seg.onnx\nfece-class-ids: [0, 3]\ndetect:\n  output: found\n  verbose: true\n");
  ASSERT_EQ(file.shared.size(), 2U);
  EXPECT_EQ(file.shared[0].key, "model");
  EXPECT_EQ(file.shared[0].line, 1);
  EXPECT_THAT(file.shared[0].values, ElementsAre("seg.onnx"));
  EXPECT_THAT(file.shared[1].values, ElementsAre("0", "3"));
  ASSERT_EQ(file.sections.size(), 1U);
  EXPECT_EQ(file.sections[0].command, "detect");
  ASSERT_EQ(file.sections[0].entries.size(), 2U);
  EXPECT_EQ(file.sections[0].entries[1].key, "verbose");
  EXPECT_EQ(file.sections[0].entries[1].line, 5);
}

TEST_F(HostFileTest, MayBeEmptyOrHaveACommandWithoutLines) {
  EXPECT_THAT(Read("").shared, IsEmpty());
  EXPECT_THAT(Read("# nothing\n").sections, IsEmpty());
  EXPECT_THAT(Read("detect:\n#  output: found\n").sections.at(0).entries, IsEmpty());
}

TEST_F(HostFileTest, MustBeAMapping) {
  EXPECT_EQ(RejectionOf("- model\n"),
            " line 1: is not a mapping; expected lines like 'model: seg.onnx'");
}

TEST_F(HostFileTest, RefusesAKeyThatStandsTwice) {
  EXPECT_EQ(RejectionOf("model: a\nmodel: b\n"),
            " line 2: model is also in line 1; expected it once");
  EXPECT_EQ(RejectionOf("detect:\n  output: a\n  output: b\n"),
            " line 3: output is also in line 2; expected it once");
}

TEST_F(HostFileTest, RefusesAnythingButValues) {
  EXPECT_EQ(RejectionOf("fece-class-ids: [0, [1]]\n"),
            " line 1: fece-class-ids has '[1]' in its list; expected values");
  EXPECT_EQ(RejectionOf("fece-class-ids: []\n"),
            " line 1: fece-class-ids is '[]'; expected a value or a list of values");
  EXPECT_EQ(RejectionOf("detect:\n  output: {a: b}\n"),
            " line 2: output is '{a: b}'; expected a value or a list of values");
  EXPECT_EQ(RejectionOf("detect:\n  output:\n"),
            " line 2: output is empty; expected a value or a list of values");
}

TEST_F(HostFileTest, RefusesADetectorsConfiguration) {
  EXPECT_EQ(
      RejectionOf("# floor\npatch:\n  enable: true\n  patches: [[0, 0, 64, 64]]\n"),
      " line 2: patch is of a detector's configuration, not of a host file; expected --config " +
          (folder_ / "host.yaml"));
}

TEST_F(HostFileTest, RefusesWhatIsNoYaml) {
  EXPECT_THAT(RejectionOf("model: [\n"), HasSubstr("is not valid YAML"));
}

TEST(BesideHostFile, TakesRelativePathsFromTheFilesFolder) {
  EXPECT_EQ(BesideHostFile("conf/host.yaml", "seg.onnx"), "conf/seg.onnx");
  EXPECT_EQ(BesideHostFile("conf/host.yaml", "../seg.onnx"), "seg.onnx");
  EXPECT_EQ(BesideHostFile("host.yaml", "seg.onnx"), "seg.onnx");
  EXPECT_EQ(BesideHostFile("conf/host.yaml", "/nets/seg.onnx"), "/nets/seg.onnx");
}

}  // namespace
}  // namespace dirty_seg

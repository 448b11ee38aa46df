// What a host file sets, and what it may not.
#include "command_line/host_option.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/errors.h"
#include "command_line/checks.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using test::RejectionOf;
using testing::EndsWith;

class HostOption : public testing::Test {
 protected:
  HostOption() {
    run_.AddOption("--model", &model_, "").TypeName("SEG.onnx");
    run_.AddOption("--threads", &threads_, "").Check(NumberFrom(0, 8, "a number from 0 to 8"));
    run_.AddOption("--ids", &ids_, "").CommaSeparated();
    const Option quiet = run_.AddFlag("-q,--quiet", &quiet_, "");
    run_.AddFlag("--verbose", &verbose_, "").Excludes(quiet);
    AddHostOption(program_, run_);
    other_.AddFlag("--strict", &strict_, "");
    AddHostOption(program_, other_);
  }

  // The command line's words after "run --host FILE".
  void Run(const std::string& file, const std::vector<std::string>& words = {}) {
    const std::string path = folder_.Write("host.yaml", file);
    std::vector<const char*> all{"tool", "run", "--host", path.c_str()};
    for (const std::string& word : words) all.push_back(word.c_str());
    program_.Parse(static_cast<int>(all.size()), all.data());
  }

  std::string RefusalOf(const std::string& file) {
    return RejectionOf<SetupError>([&] { Run(file); });
  }

  test::TemporaryFolder folder_;
  Program program_{"tool", "Does things", "1"};
  Command run_ = program_.AddCommand("run", "Does one thing");
  Command other_ = program_.AddCommand("other", "Does another");
  std::string model_;
  int threads_ = -1;
  std::vector<int> ids_;
  bool quiet_ = false;
  bool verbose_ = false;
  bool strict_ = false;
};

TEST_F(HostOption, SetsOptionsWithFilesFromItsOwnFolder) {
  Run("model: net/seg.onnx\nthreads: 3\nids: [1, 2]\nquiet: true\nverbose: false\n");
  EXPECT_EQ(model_, folder_ / "net/seg.onnx");
  EXPECT_EQ(threads_, 3);
  EXPECT_THAT(ids_, testing::ElementsAre(1, 2));
  EXPECT_TRUE(quiet_);
  EXPECT_FALSE(verbose_);
}

TEST_F(HostOption, PutsTheCommandsSectionBeforeWhatAllShare) {
  Run("threads: 3\nstrict: true\nrun:\n  threads: 5\nother:\n  strict: true\n");
  EXPECT_EQ(threads_, 5);
  EXPECT_FALSE(strict_);
}

TEST_F(HostOption, LeavesTheCommandLineAlone) {
  Run("threads: 3\nverbose: true\nmodel: a.onnx\n", {"--threads", "4", "-q", "--model", "b.onnx"});
  EXPECT_EQ(threads_, 4);
  EXPECT_TRUE(quiet_);
  EXPECT_FALSE(verbose_);
  EXPECT_EQ(model_, "b.onnx");
}

TEST_F(HostOption, RefusesUnknownKeysWithTheirLine) {
  EXPECT_THAT(RefusalOf("model: a\nthraeds: 3\n"),
              EndsWith("line 2: thraeds is not an option of any command; did you mean "
                       "'threads'?"));
  EXPECT_THAT(RefusalOf("run:\n  strict: true\n"),
              EndsWith("line 2: strict is not an option of 'run'"));
  EXPECT_THAT(RefusalOf("ohter:\n  strict: true\n"),
              EndsWith("line 1: ohter is not a command; did you mean 'other'?"));
  EXPECT_THAT(RefusalOf("host: a.yaml\n"),
              EndsWith("line 1: host is not an option of any command"));
  EXPECT_THAT(RefusalOf("q: true\n"), EndsWith("line 1: q is not an option of any command"));
}

TEST_F(HostOption, RefusesValuesThatTheOptionRefuses) {
  EXPECT_THAT(RefusalOf("threads: 9\n"),
              EndsWith("line 1: --threads: 9 is not a number from 0 to 8"));
  EXPECT_THAT(RefusalOf("threads: [1, 2]\n"),
              EndsWith("line 1: threads has 2 values; expected one"));
  EXPECT_THAT(RefusalOf("quiet: maybe\n"),
              EndsWith("line 1: quiet is 'maybe'; expected true or false"));
}

TEST_F(HostOption, IsNotReadWhereHelpIsWanted) {
  Run("no option: at all\n", {"--help"});
  EXPECT_EQ(threads_, -1);
}

TEST_F(HostOption, IsOfNoUseToACommandWithoutOptions) {
  Command bare = program_.AddCommand("bare", "Does little");
  AddHostOption(program_, bare);
  EXPECT_EQ(bare.options().size(), 1U);
}

}  // namespace
}  // namespace dirty_seg

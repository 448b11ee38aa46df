// Folders that commands write into.
#include "files/run_folder.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "base/errors.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

class RunFolder : public testing::Test {
 protected:
  ~RunFolder() override { fs::current_path(before_); }

  fs::path before_ = fs::current_path();
  test::TemporaryFolder folder_;
};

TEST_F(RunFolder, IsMadeWithThoseAboveIt) {
  MakeRunFolder(folder_ / "a/b", false);
  EXPECT_TRUE(fs::is_directory(folder_ / "a/b"));
  MakeRunFolder(folder_ / "a/b", false);  // empty still
}

TEST_F(RunFolder, WithSomethingInItIsRefusedUnlessTold) {
  folder_.MakeFolder("out");
  folder_.Write("out/notes.txt", "mine");
  EXPECT_EQ(test::RejectionOf<SetupError>([&] { MakeRunFolder(folder_ / "out", false); }),
            "--output '" + folder_ / "out" +
                "': the folder is not empty; expected a new one, or --overwrite to replace what is "
                "there");
  MakeRunFolder(folder_ / "out", true);
  EXPECT_EQ(test::ReadFile(folder_ / "out/notes.txt"), "mine");
}

TEST_F(RunFolder, CountsUpFromTwo) {
  fs::current_path(folder_.path());
  EXPECT_EQ(MakeNumberedRunFolder("detect"), "runs/detect");
  EXPECT_EQ(MakeNumberedRunFolder("detect"), "runs/detect2");
  EXPECT_EQ(MakeNumberedRunFolder("report"), "runs/report");
  EXPECT_EQ(MakeNumberedRunFolder("detect"), "runs/detect3");
  EXPECT_TRUE(fs::is_directory(folder_ / "runs/detect3"));
}

TEST_F(RunFolder, PassesOverAFileInTheWay) {
  fs::current_path(folder_.path());
  folder_.MakeFolder("runs");
  folder_.Write("runs/detect", "");
  EXPECT_EQ(MakeNumberedRunFolder("detect"), "runs/detect2");
}

TEST_F(RunFolder, ThatCannotBeMadeIsRefusedWithTheCause) {
  fs::current_path(folder_.path());
  folder_.Write("runs", "");
  EXPECT_EQ(test::RejectionOf<SetupError>([] { MakeNumberedRunFolder("detect"); }),
            "--save 'runs': the folder cannot be made: Not a directory");
}

}  // namespace
}  // namespace dirty_seg

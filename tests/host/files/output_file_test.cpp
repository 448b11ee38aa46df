// Files that grow by whole pieces, and files that are there whole or not at all.
#include "files/output_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "base/errors.h"
#include "support/file_size_limit.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::RejectionOf;

class OutputFiles : public testing::Test {
 protected:
  std::size_t CountFiles() {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder_.path()), fs::directory_iterator()));
  }

  test::TemporaryFolder folder_;
  const std::string path_ = folder_ / "file";
};

TEST_F(OutputFiles, TakeBackAPieceThatDoesNotFit) {
  OutputFile file(path_, 0);
  file.Write("sixsix");
  const test::FileSizeLimit limit(10);
  EXPECT_EQ(RejectionOf<OutputError>([&] { file.Write("eight..."); }),
            "'" + path_ + "' cannot be written: File too large");
  EXPECT_EQ(ReadFile(path_), "sixsix");
  file.Write("four");
  EXPECT_EQ(ReadFile(path_), "sixsixfour");
}

TEST_F(OutputFiles, AreLockedForAsLongAsTheyAreOpen) {
  {
    const OutputFile first(path_, 0);
    EXPECT_TRUE(first.Lock());
    EXPECT_FALSE(OutputFile(path_, 0).Lock());
  }
  EXPECT_TRUE(OutputFile(path_, 0).Lock());
}

TEST_F(OutputFiles, FollowNoLinkWhereNoneIsExpected) {
  fs::create_symlink(folder_.Write("other", "mine"), path_);
  EXPECT_EQ(RejectionOf<OutputError>([&] { OutputFile(path_, O_NOFOLLOW | O_TRUNC); }),
            "'" + path_ + "' cannot be written: it is a symbolic link; expected a file");
  EXPECT_EQ(ReadFile(folder_ / "other"), "mine");
}

TEST_F(OutputFiles, ThatAreWholeTakeTheirNameAtTheEnd) {
  folder_.Write("file", "old");
  WholeFile file(path_);
  file.Write("new, ");
  file.Write("and long");
  EXPECT_EQ(ReadFile(path_), "old");
  file.Keep();
  EXPECT_EQ(ReadFile(path_), "new, and long");
  EXPECT_EQ(CountFiles(), 1U);
}

TEST_F(OutputFiles, ThatAreNotKeptLeaveWhatWasThere) {
  folder_.Write("file", "old");
  { WholeFile(path_).Write("new"); }
  EXPECT_EQ(ReadFile(path_), "old");
  EXPECT_EQ(CountFiles(), 1U);
}

TEST_F(OutputFiles, ThatDoNotFitLeaveNothing) {
  const test::FileSizeLimit limit(10);
  EXPECT_EQ(RejectionOf<OutputError>([&] { WriteWholeFile(path_, "eleven....."); }),
            "'" + path_ + "' cannot be written: File too large");
  EXPECT_EQ(CountFiles(), 0U);
}

TEST_F(OutputFiles, OfAKilledProcessAreTakenOver) {
  folder_.Write("file.part", "far longer than what comes");
  WriteWholeFile(path_, "new");
  EXPECT_EQ(ReadFile(path_), "new");
  EXPECT_EQ(CountFiles(), 1U);
}

TEST_F(OutputFiles, OfTwoProcessesAtOnceAreTheFirstOnes) {
  WholeFile first(path_);
  first.Write("first");
  EXPECT_EQ(RejectionOf<OutputError>([&] { WriteWholeFile(path_, "second"); }),
            "'" + path_ + "' cannot be written: another process is writing it");
  first.Keep();
  EXPECT_EQ(ReadFile(path_), "first");
  WriteWholeFile(path_, "second");
  EXPECT_EQ(ReadFile(path_), "second");
}

TEST_F(OutputFiles, TakeALinksPlaceAndLeaveWhatItLedTo) {
  fs::create_symlink(folder_.Write("other", "mine"), path_);
  WriteWholeFile(path_, "new");
  EXPECT_FALSE(fs::is_symlink(path_));
  EXPECT_EQ(ReadFile(path_), "new");
  EXPECT_EQ(ReadFile(folder_ / "other"), "mine");
}

TEST_F(OutputFiles, ThatAreDevicesStay) {
  WriteWholeFile("/dev/null", "gone");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_EQ(RejectionOf<OutputError>([] { WriteWholeFile("/dev/full", "more"); }),
            "'/dev/full' cannot be written: No space left on device");
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(OutputFiles, InAFoldersPlaceAreRefused) {
  folder_.MakeFolder("file");
  EXPECT_EQ(RejectionOf<OutputError>([&] { WriteWholeFile(path_, "new"); }),
            "'" + path_ + "' cannot be written: Is a directory");
}

}  // namespace
}  // namespace dirty_seg

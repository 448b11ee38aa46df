// SHA-256 of files, as sha256sum prints it.
#include "files/checksum.h"

#include <gtest/gtest.h>

#include <string>

#include "base/errors.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

// The examples of FIPS 180-2: "abc", nothing, and a million times "a".
TEST(Checksum, IsThatOfTheStandard) {
  const test::TemporaryFolder folder;
  EXPECT_EQ(ChecksumOfFile(folder.Write("abc", "abc")),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(ChecksumOfFile(folder.Write("empty", "")),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(ChecksumOfFile(folder.Write("long", std::string(1000000, 'a'))),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Checksum, NamesAFileThatCannotBeRead) {
  const test::TemporaryFolder folder;
  EXPECT_EQ(test::RejectionOf<SetupError>([&] { ChecksumOfFile(folder / "none"); }),
            "'" + folder / "none" + "': cannot be opened: No such file or directory");
  EXPECT_EQ(test::RejectionOf<SetupError>([&] { ChecksumOfFile(folder.path()); }),
            "'" + folder.path() + "': cannot be read to its end");
}

}  // namespace
}  // namespace dirty_seg

// The built program and its media library: who needs it, and what becomes of a wrong one, which
// LD_LIBRARY_PATH puts before the right one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/detect_fixture.h"

namespace dirty_seg {
namespace {

using test::Arguments;
using test::kPatches;
using test::ProgramResult;
using test::RunProgram;
using test::operator+;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kBeginning =
    "dirty_seg: error: the library that reads and writes pictures cannot be used: ";
constexpr const char* kEnd =
    "; expected libdirty_seg_media.so as it is installed with dirty_seg " DIRTY_SEG_VERSION "\n";

class MediaLibrary : public test::DetectFixture {
 protected:
  static ProgramResult RunWith(const std::string& library_folder, const Arguments& arguments) {
    return RunProgram(arguments, {"LD_LIBRARY_PATH=" + library_folder});
  }

  // By what the dynamic loader tells of a run that is refused.
  static bool IsLoadedBy(const Arguments& arguments) {
    const ProgramResult result = RunProgram(arguments + Arguments{"x.png"}, {"LD_DEBUG=files"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.errors, HasSubstr("libtessmar_ai_engine.so"));
    return result.errors.find("libdirty_seg_media.so") != std::string::npos;
  }

  // A folder in which the library is one that cannot be loaded.
  std::string Broken() {
    std::string folder = folder_.MakeFolder("lib");
    folder_.Write("lib/libdirty_seg_media.so", "no library\n");
    return folder;
  }

  Arguments DrawPatches() {
    return {"check",    folder_.Write("config.yaml", kPatches),
            "--frame",  Picture("red.png", test::kRedPixel),
            "--output", folder_ / "drawn.png"};
  }
};

TEST_F(MediaLibrary, IsNotLoadedByWhatReadsAndWritesNoPicture) {
  const std::string broken = Broken();
  const std::string config = folder_.Write("config.yaml", kPatches);
  for (const Arguments& arguments : {Arguments{"--version"},
                                     {"detect", "--help"},
                                     {"env"},
                                     {"check", config},
                                     {"inspect", test::CommonNetwork("seg-b2-64")}}) {
    const ProgramResult result = RunWith(broken, arguments);
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
  }
}

TEST_F(MediaLibrary, ThatCannotBeLoadedIsAnErrorWithItsCause) {
  const ProgramResult result = RunWith(Broken(), DrawPatches());
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors,
              StartsWith(kBeginning + (folder_ / "lib/libdirty_seg_media.so") + ": "));
  EXPECT_THAT(result.errors, EndsWith(kEnd));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "drawn.png"));
}

TEST_F(MediaLibrary, ThatCannotBeLoadedEndsADetectBeforeItHasAFolder) {
  const Arguments more{Picture("red.png", test::kRedPixel), "--output", folder_ / "out"};
  const ProgramResult result = RunWith(Broken(), Command() + more);
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, StartsWith(kBeginning));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "out"));
}

// Otherwise the start waits for one after the other.
TEST_F(MediaLibrary, IsLoadedBeforeTheNetworksAreKnownToBeUsable) {
  EXPECT_TRUE(IsLoadedBy(Command(folder_.Write("seg.onnx", "no network\n"))));
}

TEST_F(MediaLibrary, IsNotLoadedForWhatIsRefusedAtOnce) {
  EXPECT_FALSE(IsLoadedBy(Command(folder_ / "none.onnx")));
  EXPECT_FALSE(IsLoadedBy(Command() + Classifier(folder_ / "none.onnx")));
  EXPECT_FALSE(IsLoadedBy(Command(test::CommonNetwork("seg-b2-64"), "patch: 3\n")));
}

TEST_F(MediaLibrary, OfAnotherVersionIsRefused) {
  const std::string other = DIRTY_SEG_OTHER_MEDIA;
  const ProgramResult result = RunWith(other, DrawPatches());
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.errors,
            kBeginning + ("'" + other + "/libdirty_seg_media.so' is another version's") + kEnd);
}

TEST_F(MediaLibrary, OfItsNameThatIsQuiteAnotherIsRefused) {
  const std::string other = folder_.MakeFolder("lib");
  std::filesystem::create_symlink(DIRTY_SEG_ENGINE, folder_ / "lib/libdirty_seg_media.so");
  const ProgramResult result = RunWith(other, DrawPatches());
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, EndsWith(std::string("' is another version's") + kEnd));
}

}  // namespace
}  // namespace dirty_seg

// What the command line's inputs become.
#include "frames/inputs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <sstream>

#include "base/errors.h"
#include "support/pictures.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

class Inputs : public testing::Test {
 protected:
  static std::vector<std::string> Paths(const std::vector<Input>& inputs) {
    std::vector<std::string> paths;
    std::transform(inputs.begin(), inputs.end(), std::back_inserter(paths),
                   [](const Input& input) { return input.path; });
    return paths;
  }

  test::TemporaryFolder folder_;
};

TEST_F(Inputs, KeepTheirOrderAndTheirSpelling) {
  EXPECT_THAT(Paths(ExpandInputs({"z.png", "./a.jpg", "no extension"})),
              ElementsAre("z.png", "./a.jpg", "no extension"));
}

TEST_F(Inputs, OfAFolderAreItsPicturesSortedByName) {
  const std::string pictures = folder_.MakeFolder("pictures");
  for (const char* name : {"b.PNG", "a.jpeg", "c.tif", "notes.txt", "b.png.bak", "png"}) {
    folder_.Write(std::string("pictures/") + name, "");
  }
  folder_.MakeFolder("pictures/deeper.png");
  folder_.Write("pictures/deeper.png/d.png", "");
  const std::vector<Input> inputs = ExpandInputs({"first.png", pictures, "last.png"});
  EXPECT_THAT(Paths(inputs), ElementsAre("first.png", pictures + "/a.jpeg", pictures + "/b.PNG",
                                         pictures + "/c.tif", "last.png"));
  for (const Input& input : inputs) EXPECT_EQ(input.failure, "") << input.path;
}

TEST_F(Inputs, OfAFolderWithoutPicturesAreAFailure) {
  folder_.Write("notes.txt", "");
  const std::vector<Input> inputs = ExpandInputs({folder_.path()});
  ASSERT_EQ(inputs.size(), 1U);
  EXPECT_EQ(inputs[0].path, folder_.path());
  EXPECT_THAT(inputs[0].failure,
              StartsWith("the folder has no picture; expected files named *.jpg *.jpeg *.png"));
}

TEST_F(Inputs, OfAFolderAreVideosWhenAskedFor) {
  folder_.Write("a.png", "");
  folder_.Write("b.MP4", "");
  InputOptions options;
  EXPECT_THAT(Paths(ExpandInputs({folder_.path()}, options)), ElementsAre(folder_ / "a.png"));
  options.videos = true;
  const std::vector<Input> inputs = ExpandInputs({folder_.path()}, options);
  EXPECT_THAT(Paths(inputs), ElementsAre(folder_ / "a.png", folder_ / "b.MP4"));
  EXPECT_EQ(inputs[1].kind, InputKind::kVideo);
}

TEST_F(Inputs, OfFoldersWithinFoldersComeSortedWhenAskedFor) {
  folder_.MakeFolder("b/c");
  folder_.MakeFolder("out");
  for (const char* name : {"d.png", "b/e.png", "b/c/a.png", "out/x.png"}) folder_.Write(name, "");
  std::filesystem::create_directory_symlink(folder_.path(), folder_ / "b/loop");
  InputOptions options;
  EXPECT_THAT(Paths(ExpandInputs({folder_.path()}, options)), ElementsAre(folder_ / "d.png"));
  options.recursive = true;
  options.output_folder = folder_ / "b/../out";
  EXPECT_THAT(Paths(ExpandInputs({folder_.path()}, options)),
              ElementsAre(folder_ / "b/c/a.png", folder_ / "b/e.png", folder_ / "d.png"));
}

TEST_F(Inputs, AreNotWhatAnEarlierRunWrote) {
  const std::vector<std::string> written{"a.overlay.jpg", "a.mask_19.png", "a.overlay.avi",
                                         "a.crop_3.rejected_0.31.png"};
  for (const std::string& name : written) folder_.Write(name, "");
  folder_.Write("a.png", "");
  InputOptions options;
  options.videos = true;
  EXPECT_EQ(ExpandInputs({folder_.path()}, options).size(), 5U);  // the names say nothing
  folder_.Write("results.jsonl", "");
  EXPECT_THAT(Paths(ExpandInputs({folder_.path()}, options)), ElementsAre(folder_ / "a.png"));
  EXPECT_THAT(Paths(ExpandInputs({folder_ / written[0]}, options)),
              ElementsAre(folder_ / written[0]));  // named by itself
}

TEST_F(Inputs, OfAPatternAreWhatItMatches) {
  for (const char* name : {"b.png", "a.png", "c.jpg", "[x].png"}) folder_.Write(name, "");
  EXPECT_THAT(Paths(ExpandInputs({folder_ / "[ab].png"})),
              ElementsAre(folder_ / "a.png", folder_ / "b.png"));
  EXPECT_THAT(Paths(ExpandInputs({folder_ / "[x].png"})), ElementsAre(folder_ / "[x].png"));
  const std::vector<Input> none = ExpandInputs({folder_ / "*.bmp"});
  ASSERT_EQ(none.size(), 1U);
  EXPECT_EQ(none[0].path, folder_ / "*.bmp");
  EXPECT_EQ(none[0].failure, "no file matches the pattern");
}

TEST_F(Inputs, AreOfTheKindThatTheirNamesTell) {
  EXPECT_EQ(KindOf("a.png"), InputKind::kPicture);
  EXPECT_EQ(KindOf("no extension"), InputKind::kPicture);
  EXPECT_EQ(KindOf("a.avi"), InputKind::kVideo);
  EXPECT_EQ(KindOf("/dev/video0"), InputKind::kCamera);
  EXPECT_EQ(KindOf("camera:1"), InputKind::kCamera);
}

TEST_F(Inputs, OfAListAreReadWhenTheirTurnComes) {
  folder_.Write("b.png", "");
  folder_.Write("c.png", "");
  std::stringstream list("x.png\n\n" + folder_.path() + "\n");
  InputQueue queue({"first.png", "-", "last.png"}, {}, list);
  EXPECT_FALSE(queue.Count());
  EXPECT_FALSE(queue.PicturesLeft());
  EXPECT_EQ(queue.Next()->path, "first.png");
  EXPECT_EQ(list.tellg(), 0);  // nothing was read yet
  EXPECT_EQ(queue.Next()->path, "x.png");
  EXPECT_EQ(queue.Next()->path, folder_ / "b.png");
  EXPECT_EQ(queue.Next()->path, folder_ / "c.png");
  EXPECT_FALSE(queue.Count());
  EXPECT_EQ(queue.Next()->path, "last.png");
  EXPECT_EQ(queue.Count(), 5U);
  EXPECT_EQ(queue.PicturesLeft(), 0U);
  EXPECT_FALSE(queue.Next());
}

TEST_F(Inputs, OfAListMayEndTheirLinesAsWindowsDoes) {
  std::istringstream list("\xEF\xBB\xBFone.png\r\n\r\ntwo.png\r\n");
  InputQueue queue({"-"}, {}, list);
  EXPECT_EQ(queue.Next()->path, "one.png");
  EXPECT_EQ(queue.Next()->path, "two.png");
  EXPECT_FALSE(queue.Next());
}

TEST_F(Inputs, OfAListWithZeroBytesAreNotTaken) {
  std::istringstream list(std::string("one.png\0two.png\0\nthree.png\n", 27));
  InputQueue queue({"-"}, {}, list);
  const std::optional<Input> first = queue.Next();
  EXPECT_EQ(first->path, "one.png");
  EXPECT_EQ(first->failure, "a zero byte follows in the list; expected one path per line");
  EXPECT_EQ(queue.Next()->path, "three.png");
  EXPECT_FALSE(queue.Next());
}

TEST_F(Inputs, TellHowManyFramesAreLeftWhereAllArePictures) {
  std::istringstream list;
  InputQueue pictures({"a.png", "b.png"}, {}, list);
  EXPECT_EQ(pictures.PicturesLeft(), 2U);
  pictures.Next();
  EXPECT_EQ(pictures.PicturesLeft(), 1U);
  EXPECT_EQ(pictures.Count(), 2U);
  EXPECT_FALSE(InputQueue({"a.png", "b.avi"}, {}, list).PicturesLeft());
}

TEST_F(Inputs, AreReadInBlueGreenRed) {
  const std::string path =
      test::WritePicture(folder_ / "picture.png", test::Plain({3, 2}, cv::Scalar(10, 20, 30)));
  const cv::Mat picture = ReadPicture(path);
  EXPECT_EQ(picture.size(), cv::Size(3, 2));
  EXPECT_EQ(picture.type(), CV_8UC3);
  EXPECT_EQ(picture.at<cv::Vec3b>(1, 2), cv::Vec3b(10, 20, 30));
}

TEST_F(Inputs, WithoutColourAreReadAsColour) {
  const cv::Mat grey(2, 3, CV_8UC1, cv::Scalar(7));
  const cv::Mat picture = ReadPicture(test::WritePicture(folder_ / "grey.png", grey));
  EXPECT_EQ(picture.type(), CV_8UC3);
  EXPECT_EQ(picture.at<cv::Vec3b>(0, 0), cv::Vec3b(7, 7, 7));
}

TEST_F(Inputs, ThatAreMissingAreRefusedWithTheCause) {
  EXPECT_EQ(test::RejectionOf<InputError>([&] { ReadPicture(folder_ / "missing.png"); }),
            "cannot be opened: No such file or directory");
}

TEST_F(Inputs, ThatAreNoPictureAreRefused) {
  const std::string path = folder_.Write("text.png", "no picture at all");
  EXPECT_EQ(test::RejectionOf<InputError>([&] { ReadPicture(path); }),
            "is not a picture that can be read");
}

TEST_F(Inputs, ThatAreCutShortAreRefused) {
  const std::string whole =
      test::WritePicture(folder_ / "whole.png", test::Plain(test::kFrame, test::kRedPixel));
  const std::string path = folder_.Write("cut.png", test::ReadFile(whole).substr(0, 1000));
  EXPECT_THAT(test::RejectionOf<InputError>([&] { ReadPicture(path); }),
              testing::StartsWith("is not a picture that can be read"));
}

// The decoder fills the rest with grey and calls it a picture.
TEST_F(Inputs, ThatAreJpegFilesCutShortAreRefused) {
  cv::Mat noise(test::kFrame, CV_8UC3);
  cv::randu(noise, 0, 256);
  const std::string whole = test::ReadFile(test::WritePicture(folder_ / "whole.jpg", noise));
  const std::string path = folder_.Write("cut.jpg", whole.substr(0, whole.size() / 2));
  EXPECT_EQ(test::RejectionOf<InputError>([&] { ReadPicture(path); }),
            "is cut short: Premature end of JPEG file");
}

TEST_F(Inputs, ThatTheirDecoderComplainsOfAreReadWithAWarning) {
  std::string bytes = test::ReadFile(
      test::WritePicture(folder_ / "whole.jpg", test::Plain(test::kFrame, test::kRedPixel)));
  bytes.insert(20, "stray");  // after the first segment: two bytes begin the file, 18 are that one
  const std::string path = folder_.Write("stray.jpg", bytes);
  testing::internal::CaptureStderr();
  const cv::Mat picture = ReadPicture(path);
  EXPECT_EQ(picture.size(), test::kFrame);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "dirty_seg: warning: '" + path +
                "': Corrupt JPEG data: 5 extraneous bytes before marker 0xdb\n");
}

// ---- What is not a file
// ----------------------------------------------------------------------------

TEST(RequireFile, RefusesASocket) {
  const test::TemporaryFolder folder;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  (folder / "socket").copy(address.sun_path, sizeof address.sun_path - 1);
  const int socket_file = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(socket_file, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(test::RejectionOf<InputError>([&] { RequireFile(folder / "socket"); }),
            "is a socket; expected a file");
  close(socket_file);
  EXPECT_NO_THROW(RequireFile(folder.Write("a.png", "")));
}

}  // namespace
}  // namespace dirty_seg

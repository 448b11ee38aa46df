// What the command line's inputs become.
#include "host/inputs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "host/errors.h"
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
            "is no picture that can be read");
}

TEST_F(Inputs, ThatAreCutShortAreRefused) {
  const std::string whole =
      test::WritePicture(folder_ / "whole.png", test::Plain(test::kFrame, test::kRedPixel));
  const std::string path = folder_.Write("cut.png", test::ReadFile(whole).substr(0, 1000));
  EXPECT_EQ(test::RejectionOf<InputError>([&] { ReadPicture(path); }),
            "is no picture that can be read");
}

}  // namespace
}  // namespace dirty_seg

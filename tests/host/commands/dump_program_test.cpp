// The built program's `dump`, read back by NumPy and compared with `detect`.
//
// Patches of seg-b2-64's two slots on a picture of 1920 x 1080: 128 x 64 pixels, which scale by a
// half to 64 x 32 with 16 grey rows above and below, and 64 x 64 as they are.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "files/output_file.h"
#include "support/file_size_limit.h"
#include "support/paths.h"
#include "support/pictures.h"
#include "support/program.h"
#include "support/temporary_folder.h"
#include "support/videos.h"
#include "tensors/npy.h"
#include "tensors/staged_frame.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using test::CommonNetwork;
using test::ProgramResult;
using test::ReadFile;
using test::RunProgram;
using testing::HasSubstr;
using Arguments = std::vector<std::string>;

Arguments operator+(Arguments first, const Arguments& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

constexpr const char* kConfig =
    "patch: {enable: true, patches: [[0, 0, 128, 64], [1000, 500, 64, 64]]}\n"
    "postprocess: {score_threshold: 0.125}\n";

// A picture on which no two pixels near each other are alike.
cv::Mat Ramp(const cv::Size& size) {
  cv::Mat picture(size, CV_8UC3);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      picture.at<cv::Vec3b>(y, x) = {static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(3 * y),
                                     static_cast<std::uint8_t>(x + 5 * y)};
    }
  }
  return picture;
}

class Dump : public testing::Test {
 protected:
  std::string Picture(const std::string& name, const cv::Mat& picture) {
    return test::WritePicture(folder_ / name, picture);
  }

  Arguments Command(const std::string& command, const std::string& out, const std::string& picture,
                    const std::string& yaml = kConfig) {
    return {command,
            "--model",
            CommonNetwork("seg-b2-64"),
            "--config",
            folder_.Write("config.yaml", yaml),
            "--output",
            folder_ / out,
            picture};
  }

  // Runs a program text with NumPy; its working folder is the test's.
  int RunPython(const std::string& text) {
    const std::string script =
        folder_.Write("script.py", "import json\nimport numpy as np\n" + text);
    return std::system(("cd '" + folder_.path() + "' && /usr/bin/python3 script.py").c_str());
  }

  test::TemporaryFolder folder_;
};

TEST_F(Dump, IsReadByNumPyWithoutPickle) {
  // The second patch is red, 153 of 255; the first one's grey border counts 114, half of it.
  cv::Mat picture = test::Plain(test::kFrame, test::kBlackPixel);
  picture(cv::Rect(1000, 500, 64, 64)).setTo(cv::Scalar(0, 0, 153));
  const ProgramResult result = RunProgram(Command("dump", "out", Picture("a.png", picture)));
  ASSERT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(RunPython(R"(
load = lambda name: np.load(f"out/{name}.npy", allow_pickle=False)
tensor = load("input_images")
assert tensor.dtype == np.float32 and tensor.shape == (2, 3, 64, 64), tensor.shape
assert tensor[1, 0].min() == tensor[1, 0].max() == np.float32(153) / np.float32(255)
assert not tensor[1, 1:].any()
border = np.float32(114) / np.float32(255)
assert (tensor[0, :, :16] == border).all() and (tensor[0, :, 48:] == border).all()
assert not tensor[0, :, 16:48].any()
predictions = load("output_output0")
assert predictions.shape == (2, 38, 84), predictions.shape
assert list(predictions[1, :4, 0]) == [32, 32, 32, 16]
assert abs(predictions[1, 4, 0] - 0.6) < 1e-5, predictions[1, 4, 0]
assert abs(predictions[0, 4, 0] - 114 / 255 / 2) < 1e-5
assert load("output_output1").shape == (2, 32, 16, 16)
# The box [16, 24, 48, 40] of the second patch, all mask; that of the first is scaled by two:
# [32, 16, 96, 48], of 64 x 32 pixels.
mask = load("mask_0")
assert mask.dtype == np.uint8 and mask.shape == (1080, 1920)
assert set(np.unique(mask)) == {0, 255}
assert (mask[524:540, 1016:1048] == 255).all()
assert (mask > 0).sum() == 32 * 16 + 64 * 32, (mask > 0).sum()
)"),
            0);
}

TEST_F(Dump, LetsNumPyMakeTheTensorAgain) {
  // The first patch is clipped to 120 x 60 by the frame's edge: 64 x 32 and 16 grey rows. The
  // picture ends within it.
  const std::string picture = Picture("a.png", Ramp({1900, 1050}));
  const ProgramResult result = RunProgram(
      Command("dump", "out", picture,
              "patch: {enable: true, patches: [[1800, 1020, 200, 100], [7, 9, 50, 80]]}") +
      Arguments{"--fit", "pad"});
  ASSERT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(RunPython(R"(
import cv2
dump = json.load(open("out/dump.json"))
picture = cv2.imread("a.png")
assert list(picture.shape[:2]) == dump["image_size"]
grey = [dump["preprocess"]["border_value"]] * 3
picture = cv2.copyMakeBorder(picture, 0, 30, 0, 20, cv2.BORDER_CONSTANT, value=grey)
entry = dump["tensors"][0]
assert entry["role"] == "input" and entry["type"] == "float32"
tensor = np.zeros(entry["shape"], np.float32).ravel()
for slot in dump["slots"]:
    x, y, width, height = slot["crop"]
    rows, columns = slot["scaled"]
    crop = picture[y : y + height, x : x + width]
    crop = cv2.resize(crop, (columns, rows), interpolation=cv2.INTER_NEAREST)
    vertical, horizontal = slot["border"]
    crop = cv2.copyMakeBorder(crop, vertical, vertical, horizontal, horizontal,
                              cv2.BORDER_CONSTANT, value=grey)
    assert list(crop.shape[:2]) == slot["padded"]
    planes = crop[:, :, ::-1].transpose(2, 0, 1).astype(np.float32) / np.float32(255)
    first = slot["first_element"]
    tensor[first : first + planes.size] = planes.ravel()
expected = np.load("out/" + entry["file"], allow_pickle=False)
assert np.array_equal(tensor.reshape(entry["shape"]), expected)
)"),
            0);
}

TEST_F(Dump, HasTheTensorsThatDetectWorkedWith) {
  const std::string picture = Picture("a.png", Ramp(test::kFrame));
  ASSERT_EQ(RunProgram(Command("dump", "dumped", picture)).status, 0);
  ASSERT_EQ(RunProgram(Command("detect", "detected", picture)).status, 0);
  const json dump = json::parse(ReadFile(folder_ / "dumped/dump.json"));
  const json line = json::parse(ReadFile(folder_ / "detected/results.jsonl"));
  ASSERT_EQ(dump["detections"].size(), line["bboxes"].size());
  ASSERT_EQ(line["bboxes"].size(), 2U);
  for (std::size_t i = 0; i < line["bboxes"].size(); ++i) {
    EXPECT_EQ(dump["detections"][i]["bbox"], line["bboxes"][i]);
    EXPECT_EQ(dump["detections"][i]["score"], line["scores"][i]);
    EXPECT_EQ(dump["detections"][i]["label"], line["labels"][i]);
  }
  for (const auto& [label, mask] : line["label_masks"].items()) {
    const NpyArray dumped = ReadNpy(folder_ / ("dumped/mask_" + label + ".npy"));
    const cv::Mat picture_of_it =
        cv::imread(folder_ / "detected/" + mask["file"].get<std::string>(), cv::IMREAD_UNCHANGED);
    ASSERT_EQ(picture_of_it.total(), dumped.bytes.size());
    EXPECT_TRUE(std::equal(dumped.bytes.begin(), dumped.bytes.end(), picture_of_it.datastart));
  }
}

TEST_F(Dump, TellsItsOriginAndThresholds) {
  const std::string picture = Picture("a.png", test::Plain(test::kFrame, test::kRedPixel));
  const ProgramResult result = RunProgram(
      Command("dump", "out", picture) +
      Arguments{"--fece-model", CommonNetwork("classifier-224"), "--fece-class-ids", "1"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors,
            "dirty_seg: '" + picture + "': tensors are in '" + folder_ / "out" + "'\n");
  const json dump = json::parse(ReadFile(folder_ / "out/dump.json"));
  EXPECT_EQ(dump["program"], "dirty_seg " DIRTY_SEG_VERSION);
  EXPECT_EQ(dump["source"], picture);
  EXPECT_EQ(dump["model"], CommonNetwork("seg-b2-64"));
  EXPECT_EQ(dump["image_size"], json::parse("[1080, 1920]"));
  EXPECT_EQ(dump["postprocess"]["score_threshold"], 0.125);
  EXPECT_EQ(dump["postprocess"]["max_detections"], 300);
  EXPECT_EQ(dump["classifier"]["class_ids"], json::parse("[1]"));
  EXPECT_EQ(dump["tensors"].size(), 4U);
  EXPECT_EQ(dump["tensors"][3], json::parse(R"({"file": "mask_0.npy", "role": "mask",
      "name": "0", "type": "uint8", "shape": [1080, 1920]})"));
  EXPECT_EQ(dump["slots"][0], json::parse(R"({"slot": 0, "patch": 0, "rectangle": [0, 0, 128, 64],
      "crop": [0, 0, 128, 64], "scaled": [32, 64], "border": [16, 0], "padded": [64, 64],
      "first_element": 0, "fills_slot": true})"));
  EXPECT_EQ(dump["slots"][1]["first_element"], 12288);
  EXPECT_EQ(dump["detections"][0]["name"], "red");
}

TEST_F(Dump, IsComparedWithAnother) {
  const std::string red = Picture("red.png", test::Plain(test::kFrame, test::kRedPixel));
  const std::string dark = Picture("dark.png", test::Plain(test::kFrame, {0, 0, 204}));
  ASSERT_EQ(RunProgram(Command("dump", "a", red)).status, 0);
  ASSERT_EQ(RunProgram(Command("dump", "b", red)).status, 0);
  ASSERT_EQ(RunProgram(Command("dump", "c", dark)).status, 0);
  const ProgramResult same =
      RunProgram({"compare", folder_ / "a", folder_ / "b", "--max-difference", "0"});
  EXPECT_EQ(same.status, 0);
  EXPECT_EQ(same.output,
            "input_images  float32 [2, 3, 64, 64]: equal to the bit\n"
            "mask_0  uint8 [1080, 1920]: equal to the bit\n"
            "output_output0  float32 [2, 38, 84]: equal to the bit\n"
            "output_output1  float32 [2, 32, 16, 16]: equal to the bit\n");
  const ProgramResult other =
      RunProgram({"compare", folder_ / "a", folder_ / "c", "--max-difference", "0.1", "--json"});
  EXPECT_EQ(other.status, 1);
  // Half of the first slot's red plane and all of the second's, 204 / 255 = 0.8 in place of 1.
  const json tensor = json::parse(other.output)["tensors"][0];
  EXPECT_EQ(tensor["differing"], 64 * 32 + 64 * 64);
  EXPECT_EQ(tensor["first_differing"], json::parse("[0, 0, 16, 0]"));
  EXPECT_NEAR(tensor["largest_absolute"]["difference"].get<double>(), 0.2, 1e-7);
  EXPECT_THAT(other.errors, HasSubstr("--max-difference 0.1: input_images differs by 0.199999988"));
}

TEST_F(Dump, ShowsOfTheLogWhatIsAskedFor) {
  const std::string red = Picture("red.png", test::Plain(test::kFrame, test::kRedPixel));
  EXPECT_EQ(RunProgram(Command("dump", "a", red) + Arguments{"-q"}).errors, "");
  EXPECT_THAT(RunProgram(Command("dump", "b", red) + Arguments{"-v"}).errors,
              HasSubstr("Total crops: 2"));
  EXPECT_THAT(RunProgram(Command("dump", "c", red) + Arguments{"--log-level", "off"}).errors,
              testing::StartsWith("dirty_seg: '" + red));
}

TEST_F(Dump, RefusesAFolderWithSomethingInIt) {
  const std::string picture = Picture("a.png", test::Plain(test::kFrame, test::kRedPixel));
  folder_.Write("file", "");
  Arguments command = Command("dump", "", picture);
  const ProgramResult refused = RunProgram(command);
  EXPECT_EQ(refused.status, 2);
  EXPECT_THAT(refused.errors, HasSubstr("the folder is not empty"));
  command.emplace_back("--overwrite");
  EXPECT_EQ(RunProgram(command).status, 0);
}

// Red is of class 0, green of class 1.
TEST_F(Dump, OverwritesWhatTheEarlierOneNamesAndNothingElse) {
  const std::string red = Picture("red.png", test::Plain(test::kFrame, test::kRedPixel));
  const std::string green = Picture("green.png", test::Plain(test::kFrame, test::kGreenPixel));
  const char* config = "patch: {enable: true, patches: [[1000, 500, 64, 64]]}";
  ASSERT_EQ(RunProgram(Command("dump", "out", red, config)).status, 0);
  ASSERT_TRUE(std::filesystem::exists(folder_ / "out/mask_0.npy"));
  const std::string listed = ReadFile(folder_ / "out/dump.json");
  json hostile = json::parse(listed);
  for (const char* name : {"../red.png", "notes.txt", "input_/../../red.npy"}) {
    hostile["tensors"].push_back({{"file", name}});
  }
  folder_.Write("red.npy", "outside");
  folder_.Write("out/dump.json", hostile.dump());
  folder_.Write("out/notes.txt", "mine");
  folder_.Write("out/mask_7.npy", "mine");
  ASSERT_EQ(RunProgram(Command("dump", "out", green, config) + Arguments{"--overwrite"}).status, 0);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "out/mask_0.npy"));
  for (const char* name : {"red.png", "red.npy", "out/notes.txt", "out/mask_7.npy", "out/dump.json",
                           "out/input_images.npy"}) {
    EXPECT_TRUE(std::filesystem::exists(folder_ / name)) << name;
  }
}

TEST_F(Dump, IsRefusedWhereAnotherIsAtIt) {
  const std::string red = Picture("red.png", test::Plain(test::kFrame, test::kRedPixel));
  folder_.MakeFolder("out");
  {
    const WholeFile other(folder_ / "out/dump.json");
    const ProgramResult refused =
        RunProgram(Command("dump", "out", red) + Arguments{"--overwrite"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.errors, "dirty_seg: error: '" + folder_ / "out/dump.json" +
                                  "' cannot be written: another process is writing it\n");
    EXPECT_FALSE(std::filesystem::exists(folder_ / "out/input_images.npy"));
  }
  EXPECT_EQ(RunProgram(Command("dump", "out", red)).status, 0);
}

// A mask takes 1920 * 1080 bytes and its header, a tensor of the network far less.
TEST_F(Dump, LeavesNoFileCutShort) {
  const std::string red = Picture("red.png", test::Plain(test::kFrame, test::kRedPixel));
  const test::FileSizeLimit limit(2000000);
  const ProgramResult result = RunProgram(Command("dump", "out", red));
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.errors, "dirty_seg: error: '" + folder_ / "out/mask_0.npy" +
                               "' cannot be written: File too large\n");
  EXPECT_EQ(ReadNpy(folder_ / "out/input_images.npy").shape.size(), 4U);
  for (const char* name : {"mask_0.npy", "mask_0.npy.part", "dump.json", "dump.json.part"}) {
    EXPECT_FALSE(std::filesystem::exists(folder_ / "out/" + name)) << name;
  }
}

// Red brightens from frame to frame: 0, 51, 102, 153 of 255.
TEST_F(Dump, TakesAFrameOfAVideo) {
  std::vector<cv::Mat> frames;
  for (int i = 0; i < 4; ++i) {  // grey: on Arm the codec dulls colours
    frames.push_back(test::Plain(test::kFrame, cv::Scalar::all(51.0 * i)));
  }
  const std::string clip = test::WriteVideo(folder_ / "clip.avi", frames, 10.0);
  const ProgramResult result =
      RunProgram(Command("dump", "out", clip) + Arguments{"--frame-number", "3"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors,
            "dirty_seg: '" + clip + "' frame 3: tensors are in '" + folder_ / "out" + "'\n");
  EXPECT_EQ(json::parse(ReadFile(folder_ / "out/dump.json"))["frame"], 3);
  const NpyArray tensor = ReadNpy(folder_ / "out/input_images.npy");
  float red = 0.0F;  // of the second patch
  std::memcpy(&red, tensor.bytes.data() + tensor.bytes.size() / 2, sizeof red);
  EXPECT_NEAR(red, 153.0 / 255.0, 0.02);  // of JPEG
  ASSERT_EQ(RunProgram(Command("dump", "first", clip)).status, 0);
  EXPECT_EQ(json::parse(ReadFile(folder_ / "first/dump.json"))["frame"], 0);
}

TEST_F(Dump, NamesTheFramesThereAre) {
  const std::string clip =
      test::WriteVideo(folder_ / "clip.avi", {3, test::Plain(test::kFrame, test::kRedPixel)}, 10.0);
  const ProgramResult past =
      RunProgram(Command("dump", "out", clip) + Arguments{"--frame-number", "3"});
  EXPECT_EQ(past.status, 1);
  EXPECT_EQ(past.errors,
            "dirty_seg: error: '" + clip + "': has no frame 3; expected a number from 0 to 2\n");
  const std::string red = Picture("red.png", test::Plain(test::kFrame, test::kRedPixel));
  EXPECT_EQ(RunProgram(Command("dump", "out", red) + Arguments{"--frame-number", "1"}).errors,
            "dirty_seg: error: '" + red + "': has no frame 1; expected 0\n");
  EXPECT_FALSE(std::filesystem::exists(folder_ / "out"));
  EXPECT_EQ(RunProgram(Command("dump", "out", red) + Arguments{"--frame-number", "-1"}).status, 2);
}

TEST_F(Dump, NamesAPictureThatFails) {
  const std::string text = folder_.Write("text.png", "no picture");
  const ProgramResult unreadable = RunProgram(Command("dump", "out", text));
  EXPECT_EQ(unreadable.status, 1);
  EXPECT_EQ(unreadable.errors,
            "dirty_seg: error: '" + text + "': is not a picture that can be read\n");
  const std::string tiny = Picture("tiny.png", test::Plain({32, 32}, test::kRedPixel));
  const ProgramResult outside = RunProgram(
      Command("dump", "out", tiny, "patch: {enable: true, patches: [[640, 440, 64, 64]]}") +
      Arguments{"--fit", "pad"});
  EXPECT_EQ(outside.status, 1);
  EXPECT_EQ(outside.errors, "dirty_seg: error: '" + tiny +
                                "': no patch reaches into the picture, which takes 32 x 32 at the "
                                "left top of the frame\n");
  EXPECT_EQ(RunProgram({"compare", folder_ / "out", folder_ / "out"}).status,
            2);  // nothing written
}

// 64 of 100 x 33: 33 * 0.64 = 21.12 is 21, of which the border leaves 21 + 2 * 21 = 63 rows.
TEST(FindSlots, TellsACropThatComesOutShort) {
  const std::vector<PatchSlot> slots =
      FindSlots({{0, 0, 100, 33}, {2000, 0, 64, 64}, {0, 0, 64, 64}}, 64);
  ASSERT_EQ(slots.size(), 2U);
  EXPECT_EQ(slots[0].patch, 0U);
  EXPECT_EQ(slots[0].letterbox.scaled, cv::Size(64, 21));
  EXPECT_EQ(slots[0].letterbox.border.top_and_bottom, 21);
  EXPECT_EQ(slots[0].letterbox.Padded(), cv::Size(64, 63));
  EXPECT_EQ(slots[1].patch, 2U);
  EXPECT_EQ(slots[1].letterbox.Padded(), cv::Size(64, 64));
}

}  // namespace
}  // namespace dirty_seg

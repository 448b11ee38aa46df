// Init: the patches, and what the post-processor gets of the configuration file.
#include <yaml-cpp/yaml.h>

#include <string>

#include "support/init_fixture.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

namespace script = scripted_engine;

// --- Patches ---

TEST_F(Init, PatchesAreReadInFileOrder) {
  EXPECT_EQ(PatchesOf(kTwoPatches), (Rects{{0, 0, 640, 640}, {640, 0, 320, 200}}));
  EXPECT_EQ(SizesGiven(), (Sizes{{640, 640}, {320, 200}}));
}

TEST_F(Init, PatchesBeyondTheNetworksBatchAreReadToo) {
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: [[1, 2, 3, 4], [5, 6, 7, 8], [9, 9, 9, 9]]}"),
            (Rects{{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 9, 9, 9}}));
  EXPECT_EQ(SizesGiven(), (Sizes{{3, 4}, {7, 8}, {9, 9}}));
}

TEST_F(Init, FileWithoutAPatchKeyHasNoPatches) {
  EXPECT_EQ(PatchesOf("other: 1\n"), Rects{});
  EXPECT_EQ(SizesGiven(), Sizes{});
}

TEST_F(Init, EmptyFileHasNoPatches) { EXPECT_EQ(PatchesOf(""), Rects{}); }

TEST_F(Init, DisabledPatchesAreNotRead) {
  EXPECT_EQ(PatchesOf("patch: {enable: false, patches: [[0, 0, 640, 640]]}"), Rects{});
  EXPECT_EQ(SizesGiven(), Sizes{});
}

TEST_F(Init, DisabledPatchesAreNotEvenChecked) {
  EXPECT_EQ(PatchesOf("patch: {enable: false, patches: [[x]]}"), Rects{});
}

TEST_F(Init, EnabledWithoutPatchesHasNone) {
  EXPECT_EQ(PatchesOf("patch: {enable: true}"), Rects{});
  EXPECT_EQ(SizesGiven(), Sizes{});
}

TEST_F(Init, EnabledWithAnEmptyListHasNone) {
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: []}"), Rects{});
}

TEST_F(Init, PatchesThatAreNoListCountAsNone) {
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: 5}"), Rects{});
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: }"), Rects{});
}

TEST_F(Init, EntriesAreSubscriptedWhateverHoldsThem) {
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: {0: [1, 2, 3, 4]}}"), (Rects{{1, 2, 3, 4}}));
  EXPECT_THROW(detector.Init(Config("patch: {enable: true, patches: {a: [1, 2, 3, 4]}}")),
               YAML::TypedBadConversion<int>);
}

TEST_F(Init, EnableTakesEveryBooleanOfYaml) {
  for (const char* yes : {"true", "True", "TRUE", "yes", "on", "y"}) {
    detector.patches_.clear();
    const std::string yaml = std::string("patch: {enable: ") + yes + ", patches: [[1, 2, 3, 4]]}";
    EXPECT_EQ(PatchesOf(yaml).size(), 1U) << yes;
  }
  for (const char* no : {"false", "no", "off", "n"}) {
    detector.patches_.clear();
    const std::string yaml = std::string("patch: {enable: ") + no + ", patches: [[1, 2, 3, 4]]}";
    EXPECT_EQ(PatchesOf(yaml).size(), 0U) << no;
  }
}

TEST_F(Init, ElementsAfterTheFourthAreIgnored) {
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: [[10, 20, 300, 400, 7]]}"),
            (Rects{{10, 20, 300, 400}}));
  EXPECT_EQ(SizesGiven(), (Sizes{{300, 400}}));
}

TEST_F(Init, ElementsTakeEveryIntegerOfYaml) {
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: [[0x10, 010, 0x280, 640]]}"),
            (Rects{{16, 8, 640, 640}}));
}

TEST_F(Init, PatchValuesAreNotChecked) {
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: [[-5, -6, 0, -8], [99999, 0, 1, 1]]}"),
            (Rects{{-5, -6, 0, -8}, {99999, 0, 1, 1}}));
  EXPECT_EQ(SizesGiven(), (Sizes{{0, -8}, {1, 1}}));
}

// --- The YAML root ---

TEST_F(Init, RootGoesWholeToThePostprocessor) {
  const std::string yaml = "patch: {enable: true, patches: [[1, 2, 3, 4]]}\nother: {key: [a, b]}\n";

  EXPECT_TRUE(detector.Init(Config(yaml)));

  EXPECT_EQ(script::CallsOf(script::kMakePostprocess)[0].yaml, YAML::Dump(YAML::Load(yaml)));
}

TEST_F(Init, ReadingMissingKeysAddsNoneToTheRoot) {
  for (const char* yaml : {"other: 1", "patch: {enable: true}", "~", "[1, 2]"}) {
    EXPECT_TRUE(detector.Init(Config(yaml)));
    EXPECT_EQ(script::CallsOf(script::kMakePostprocess).back().yaml, YAML::Dump(YAML::Load(yaml)));
  }
}

TEST_F(Init, PostprocessorGetsTheSegmentationNetwork) {
  EXPECT_TRUE(detector.Init(Config("{}")));

  EXPECT_EQ(script::CallsOf(script::kMakePostprocess)[0].model_path, "segmentation.model");
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector

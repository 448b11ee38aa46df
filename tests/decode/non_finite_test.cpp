// What the decoder says of numbers that are not finite, on tensors written number by number: 14
// channels of 84 anchors are 1176 predictions a slot, 8 prototypes of 16 x 16 are 2048 numbers.
#include "engine/non_finite.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <limits>
#include <map>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "engine/yolov8_postprocess.h"
#include "support/case_name.h"
#include "support/segmentation_outputs.h"
#include "support/standard_error.h"

namespace nuvik::model {
namespace {

using alg::common::kAIFloat16;
using test::HeadLayout;
using test::SegmentationOutputs;
using test::StandardErrorOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

using Counts = std::map<std::string, std::int64_t>;
using Lists = std::vector<std::vector<Object>>;
using Lines = std::vector<std::string>;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Layout {
  const char* name;
  bool anchor_major;
  bool is_half;
};

void PrintTo(const Layout& layout, std::ostream* out) { *out << layout.name; }

class NonFinite : public testing::TestWithParam<Layout> {
 protected:
  static SegmentationOutputs MakeOutputs(int batch = 1) {
    HeadLayout layout;
    layout.batch = batch;
    layout.anchor_major = GetParam().anchor_major;
    if (GetParam().is_half) layout.predictions_type = layout.prototypes_type = kAIFloat16;
    SegmentationOutputs outputs(layout);
    for (int slot = 0; slot < batch; ++slot) outputs.FillPrototype(slot, 0, 4.0F);
    return outputs;
  }
};

INSTANTIATE_TEST_SUITE_P(OfALayout, NonFinite,
                         testing::Values(Layout{"ChannelMajor", false, false},
                                         Layout{"AnchorMajor", true, false},
                                         Layout{"HalfChannelMajor", false, true},
                                         Layout{"HalfAnchorMajor", true, true}),
                         test::CaseName());

// A decoder of one 64 x 64 patch, whose pixels are the network's.
class Decoder {
 public:
  explicit Decoder(const SegmentationOutputs& outputs)
      : decoder_(YAML::Load("patch: {enable: true, patches: [[0, 0, 64, 64]]}"), outputs.Config(),
                 {{64, 64}}) {}

  // The lines that decoding writes to standard error.
  Lines Decode(const SegmentationOutputs& outputs) {
    std::map<std::string, alg::common::AIBuff> buffers = outputs.Buffers();
    return StandardErrorOf(
        [&] { EXPECT_EQ(decoder_.PostProcess(buffers, objects_), kPostProcessOk); });
  }

  const std::vector<Object>& objects() const { return objects_.at(0); }

 private:
  Yolov8Postprocess decoder_;
  Lists objects_;
};

Counts CountsOf(const SegmentationOutputs& outputs) {
  Decoder(outputs).Decode(outputs);
  return TakeNonFiniteCounts();
}

TEST_P(NonFinite, OutputsThatAreAllNotANumberAreCountedAndSaid) {
  SegmentationOutputs outputs = MakeOutputs();
  for (int channel = 0; channel < 14; ++channel) {
    for (int anchor = 0; anchor < 84; ++anchor) outputs.SetPrediction(0, channel, anchor, kNan);
  }
  for (int k = 0; k < 8; ++k) outputs.FillPrototype(0, k, kNan);
  Decoder decoder(outputs);
  EXPECT_THAT(decoder.Decode(outputs),
              ElementsAre("libtessmar_ai_engine: output 'output0' has 1176 of 1176 numbers that "
                          "are not finite, output 'output1' has 2048 of 2048 numbers that are not "
                          "finite: they are left out of the results, so dirt may be missed (frame "
                          "1 of this kind; reported again at 10)"));
  EXPECT_THAT(decoder.objects(), IsEmpty());
  EXPECT_THAT(TakeNonFiniteCounts(), ElementsAre(Pair("output0", 1176), Pair("output1", 2048)));
}

TEST_P(NonFinite, SoundOutputsAreNotCountedAndNothingIsSaid) {
  SegmentationOutputs outputs = MakeOutputs();
  outputs.Put(0, 5, {32, 32, 8, 8, 0, 0.5F});
  Decoder decoder(outputs);
  EXPECT_THAT(decoder.Decode(outputs), IsEmpty());
  EXPECT_THAT(decoder.objects(), SizeIs(1));
  EXPECT_THAT(TakeNonFiniteCounts(), IsEmpty());
}

TEST_P(NonFinite, EveryScoreThatCouldHaveBeenAFindIsCounted) {
  for (const float bad : {kNan, -kNan, kInfinity}) {
    for (int anchor = 0; anchor < 84; ++anchor) {
      SegmentationOutputs outputs = MakeOutputs();
      outputs.SetPrediction(0, 5, anchor, bad);
      ASSERT_THAT(CountsOf(outputs), ElementsAre(Pair("output0", 1))) << bad << " at " << anchor;
    }
  }
}

TEST_P(NonFinite, AScoreBesideASoundOneIsCounted) {
  SegmentationOutputs outputs = MakeOutputs();
  outputs.Put(0, 7, {32, 32, 8, 8, 1, 0.5F});
  outputs.SetPrediction(0, 4, 7, kNan);
  Decoder decoder(outputs);
  EXPECT_THAT(decoder.Decode(outputs), SizeIs(1));
  EXPECT_THAT(decoder.objects(), SizeIs(1));
  EXPECT_THAT(TakeNonFiniteCounts(), ElementsAre(Pair("output0", 1)));
}

TEST_P(NonFinite, BoxAndCoefficientsOfADroppedCandidateAreCounted) {
  for (const float bad : {kNan, kInfinity, -kInfinity}) {
    for (int channel = 0; channel < 14; ++channel) {
      if (channel == 4 || channel == 5) continue;  // the scores
      SegmentationOutputs outputs = MakeOutputs();
      outputs.Put(0, 7, {32, 32, 8, 8, 0, 0.5F});
      outputs.SetPrediction(0, channel, 7, bad);
      Decoder decoder(outputs);
      decoder.Decode(outputs);
      EXPECT_THAT(decoder.objects(), IsEmpty());
      EXPECT_THAT(TakeNonFiniteCounts(), ElementsAre(Pair("output0", 1)))
          << bad << " in channel " << channel;
    }
  }
}

TEST_P(NonFinite, PrototypesUnderAMaskAreCounted) {
  for (const float bad : {kNan, kInfinity, -kInfinity}) {
    SegmentationOutputs outputs = MakeOutputs();
    outputs.Put(0, 7, {32, 32, 8, 8, 0, 0.5F});
    outputs.SetPrototype(0, 3, 8, 8, bad);  // of 4 x 4 pixels from 32, 32 on
    EXPECT_THAT(CountsOf(outputs), ElementsAre(Pair("output1", 1))) << bad;
  }
}

TEST_P(NonFinite, AWholeChannelIsCountedThoughNoScoreAsksForIt) {
  for (const float bad : {kNan, kInfinity, -kInfinity}) {
    for (int channel = 0; channel < 14; ++channel) {
      SegmentationOutputs outputs = MakeOutputs();
      for (int anchor = 0; anchor < 84; ++anchor) outputs.SetPrediction(0, channel, anchor, bad);
      EXPECT_THAT(CountsOf(outputs), ElementsAre(Pair("output0", 84)))
          << bad << " in channel " << channel;
    }
  }
}

TEST_P(NonFinite, AWholePrototypeIsCountedThoughNoMaskAsksForIt) {
  for (const float bad : {kNan, kInfinity, -kInfinity}) {
    for (int k = 0; k < 8; ++k) {
      SegmentationOutputs outputs = MakeOutputs();
      outputs.FillPrototype(0, k, bad);
      EXPECT_THAT(CountsOf(outputs), ElementsAre(Pair("output1", 256))) << bad << " in " << k;
    }
  }
}

TEST_P(NonFinite, TheNumbersOfAllSlotsAreCounted) {
  SegmentationOutputs outputs = MakeOutputs(3);
  outputs.SetPrediction(0, 4, 3, kNan);
  outputs.SetPrediction(1, 4, 3, kInfinity);
  outputs.SetPrediction(2, 4, 3, -kInfinity);
  outputs.FillPrototype(2, 0, kNan);
  EXPECT_THAT(CountsOf(outputs), ElementsAre(Pair("output0", 3), Pair("output1", 256)));
}

TEST_P(NonFinite, EveryDecodedSlotIsLookedAt) {
  for (int slot = 0; slot < 3; ++slot) {
    SegmentationOutputs outputs = MakeOutputs(3);
    outputs.SetPrediction(slot, 4, 3, kNan);
    Yolov8Postprocess decoder(YAML::Node(), outputs.Config(), {});
    std::map<std::string, alg::common::AIBuff> buffers = outputs.Buffers();
    Lists objects;
    StandardErrorOf([&] { decoder.PostProcess(buffers, objects); });
    EXPECT_THAT(TakeNonFiniteCounts(), ElementsAre(Pair("output0", 1))) << "slot " << slot;
  }
}

SegmentationOutputs BrokenOutputs() {
  SegmentationOutputs outputs((HeadLayout()));
  outputs.SetPrediction(0, 4, 3, kNan);
  return outputs;
}

TEST(NonFiniteReport, FiniteNumbersThatOverflowAreNoneToTell) {
  SegmentationOutputs outputs((HeadLayout()));
  outputs.FillPrototype(0, 0, std::numeric_limits<float>::max());
  outputs.Put(0, 7, {32, 32, 8, 8, 0, 0.5F, 2.0F});
  Decoder decoder(outputs);
  EXPECT_THAT(decoder.Decode(outputs), IsEmpty());
  EXPECT_THAT(TakeNonFiniteCounts(), IsEmpty());
}

TEST(NonFiniteReport, IsWrittenForTheFirstTenthAndHundredthSuchFrame) {
  const SegmentationOutputs broken = BrokenOutputs();
  const SegmentationOutputs sound((HeadLayout()));
  Decoder decoder(broken);
  std::vector<int> reported;
  for (int frame = 1; frame <= 120; ++frame) {
    EXPECT_THAT(decoder.Decode(sound), IsEmpty());
    if (!decoder.Decode(broken).empty()) reported.push_back(frame);
  }
  EXPECT_THAT(reported, ElementsAre(1, 10, 100));
}

TEST(NonFiniteReport, EveryDecoderWritesItsOwnFirstLine) {
  const SegmentationOutputs broken = BrokenOutputs();
  EXPECT_THAT(Decoder(broken).Decode(broken), SizeIs(1));
  EXPECT_THAT(Decoder(broken).Decode(broken), SizeIs(1));
}

TEST(NonFiniteCounts, AreHandedOutOnce) {
  CountsOf(BrokenOutputs());
  EXPECT_THAT(TakeNonFiniteCounts(), IsEmpty());
}

TEST(NonFiniteCounts, AreOfTheLatestFrameAlone) {
  const SegmentationOutputs broken = BrokenOutputs();
  const SegmentationOutputs sound((HeadLayout()));
  Decoder decoder(broken);
  decoder.Decode(broken);
  decoder.Decode(broken);
  EXPECT_THAT(TakeNonFiniteCounts(), ElementsAre(Pair("output0", 1)));
  decoder.Decode(broken);
  decoder.Decode(sound);
  EXPECT_THAT(TakeNonFiniteCounts(), IsEmpty());
}

TEST(NonFiniteCounts, AreEmptyAfterACallThatDecodesNothing) {
  const SegmentationOutputs broken = BrokenOutputs();
  Decoder(broken).Decode(broken);
  Yolov8Postprocess decoder(YAML::Node(), broken.Config(), {});
  std::map<std::string, alg::common::AIBuff> none;
  Lists objects;
  StandardErrorOf([&] { decoder.PostProcess(none, objects); });
  EXPECT_THAT(TakeNonFiniteCounts(), IsEmpty());
}

TEST(NonFiniteCounts, AreOfTheCallingThread) {
  const SegmentationOutputs broken = BrokenOutputs();
  Decoder(broken).Decode(broken);
  Counts elsewhere{{"unset", 1}};
  std::thread([&] { elsewhere = TakeNonFiniteCounts(); }).join();
  EXPECT_THAT(elsewhere, IsEmpty());
  EXPECT_THAT(TakeNonFiniteCounts(), ElementsAre(Pair("output0", 1)));
}

}  // namespace
}  // namespace nuvik::model

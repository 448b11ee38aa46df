#include "command_line/complaint.h"

#include <gtest/gtest.h>

#include "base/errors.h"
#include "support/rejection.h"

namespace dirty_seg {
namespace {

using test::RejectionOf;

class Complaints : public testing::Test {
 protected:
  Complaints() { program_.AddCommand("paint", "Paints").AddOption("--colour", &text_, ""); }

  std::string ComplaintOf(std::vector<const char*> words) {
    words.insert(words.begin(), "tool");
    return RejectionOf<SetupError>(
        [&] { program_.Parse(static_cast<int>(words.size()), words.data()); });
  }

  Program program_{"tool", "Does things", "1"};
  Command command_ = program_.AddCommand("run", "Does one thing");
  std::string text_;
};

TEST_F(Complaints, NameTheNearestCommand) {
  EXPECT_EQ(ComplaintOf({"piant", "x"}),
            "'piant' is not a command; did you mean 'paint'?; 'tool --help' shows the usage");
  EXPECT_EQ(NoSuchCommand(program_, "xyz"), "'xyz' is not a command");
}

TEST_F(Complaints, NameTheNearestOptionOfTheCommand) {
  EXPECT_EQ(ComplaintOf({"paint", "--color=red"}),
            "The following argument was not expected: --color=red; did you mean '--colour'?; "
            "'tool paint --help' shows the usage");
  EXPECT_EQ(ComplaintOf({"run", "--color=red"}),
            "The following argument was not expected: --color=red; 'tool run --help' shows "
            "the usage");
}

TEST_F(Complaints, SendAnOptionBehindItsCommand) {
  EXPECT_EQ(ComplaintOf({"--colour", "paint"}),
            "--colour belongs after the command, as in 'tool paint --colour'; 'tool "
            "paint --help' shows the usage");
}

TEST_F(Complaints, BlameTheUnknownWordBeforeWhatIsMissing) {
  command_.AddOption("--model", &text_, "").Required();
  EXPECT_EQ(ComplaintOf({"run", "--modle"}),
            "The following argument was not expected: --modle; did you mean '--model'?; "
            "'tool run --help' shows the usage");
}

TEST_F(Complaints, TellOfHostFilesWhereTheNetworkIsMissing) {
  command_.AddOption("--model", &text_, "").Required();
  EXPECT_EQ(ComplaintOf({"run"}),
            "--model is required; 'tool init SEG.onnx' writes a host file that has it, for "
            "--host HOST.yaml; 'tool run --help' shows the usage");
}

TEST_F(Complaints, SendThresholdsToTheFileOfCommandsThatTakeOne) {
  command_.AddOption("--config", &text_, "");
  EXPECT_EQ(ComplaintOf({"run", "--iou=0.5"}),
            "--iou is not an option: the file that --config names sets this, as "
            "postprocess.iou_threshold; 'tool run --help' shows the usage");
}

}  // namespace
}  // namespace dirty_seg

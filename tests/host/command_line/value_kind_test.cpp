#include "command_line/value_kind.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace dirty_seg {
namespace {

using testing::ElementsAre;

class ValueKinds : public testing::Test {
 protected:
  ValueKind KindFor(const std::string& type) {
    return KindOf(command_.AddOption("--o" + std::to_string(++count_), &text_, "").TypeName(type));
  }

  Program program_{"tool", "Does things", "1"};
  Command command_ = program_.AddCommand("run", "Does one thing");
  std::string text_;
  bool is_set_ = false;
  int count_ = 0;
};

TEST_F(ValueKinds, FollowFromTheTypeName) {
  EXPECT_EQ(KindFor("SEG.onnx"), ValueKind::kFile);
  EXPECT_EQ(KindFor("PICTURE"), ValueKind::kFile);
  EXPECT_EQ(KindFor("DIR"), ValueKind::kFolder);
  EXPECT_EQ(KindFor("text|json"), ValueKind::kChoice);
  EXPECT_EQ(KindFor("N"), ValueKind::kText);
  EXPECT_EQ(KindFor(""), ValueKind::kText);
}

TEST_F(ValueKinds, KnowFlagsAndCommands) {
  EXPECT_EQ(KindOf(command_.AddFlag("--set", &is_set_, "")), ValueKind::kNone);
  EXPECT_EQ(KindOf(command_.AddOption("COMMAND", &text_, "").TypeName("")), ValueKind::kCommand);
}

TEST_F(ValueKinds, TellTheWordsOfAChoice) {
  const Option option = command_.AddOption("--format", &text_, "").TypeName("text|json|cpp");
  EXPECT_THAT(ChoicesOf(option), ElementsAre("text", "json", "cpp"));
}

TEST_F(ValueKinds, CountNeitherHelpNorArgumentsAmongTheFlags) {
  command_.AddOption("INPUT", &text_, "");
  const Option config = command_.AddOption("CONFIG,--config", &text_, "");
  const Option quiet = command_.AddFlag("-q", &is_set_, "");
  EXPECT_THAT(FlagsOf(command_), ElementsAre(config, quiet));
}

TEST_F(ValueKinds, NameAFlagByItsLongName) {
  EXPECT_EQ(FlagName(command_.AddFlag("-q,--quiet", &is_set_, "")), "--quiet");
  EXPECT_EQ(FlagName(command_.AddFlag("-v", &is_set_, "")), "-v");
}

}  // namespace
}  // namespace dirty_seg

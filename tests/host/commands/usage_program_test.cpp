// The built program on wrong usage, help and completion.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "support/paths.h"
#include "support/pictures.h"
#include "support/program.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using test::CommonNetwork;
using test::ProgramResult;
using test::ReadFile;
using test::RunProgram;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;
using Arguments = std::vector<std::string>;
using Words = std::vector<std::string>;

Words Lines(const std::string& text) {
  Words lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// As the program's own help lists them.
Words Commands() {
  Words commands;
  bool is_list = false;
  for (const std::string& line : Lines(RunProgram({"--help"}).output)) {
    if (is_list && line.rfind("  ", 0) == 0) {
      commands.push_back(line.substr(2, line.find(' ', 2) - 2));
    } else {
      is_list = line == "Subcommands:";
    }
  }
  return commands;
}

// Every way to write a flag that the command's help names. One line has several where they belong
// together, with two blanks between; what follows is what they mean, at times of another flag.
std::set<std::string> FlagsInHelp(const std::string& command) {
  std::set<std::string> flags;
  for (const std::string& line : Lines(RunProgram({command, "--help"}).output)) {
    for (std::size_t begin = 2; line.rfind("  ", 0) == 0 && line.substr(begin, 1) == "-";) {
      const std::size_t end = line.find("  ", begin);
      std::istringstream words(line.substr(begin, line.find(' ', begin) - begin));
      for (std::string flag; std::getline(words, flag, ',');) flags.insert(flag);
      if (end == std::string::npos) break;
      begin = line.find_first_not_of(' ', end);
    }
  }
  return flags;
}

// ---- Slips --------------------------------------------------------------------------------------

TEST(Usage, NamesTheCommandThatWasMeant) {
  const ProgramResult result = RunProgram({"detcet", "x.png"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(
      result.errors,
      "dirty_seg: error: 'detcet' is not a command; did you mean 'detect'?; 'dirty_seg --help' "
      "shows the usage\n");
  EXPECT_EQ(RunProgram({"paint"}).errors,
            "dirty_seg: error: 'paint' is not a command; 'dirty_seg --help' shows the usage\n");
}

TEST(Usage, NamesTheOptionThatWasMeant) {
  const ProgramResult result = RunProgram({"detect", "--modle", "m", "--config", "c", "x.png"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.errors,
            "dirty_seg: error: The following argument was not expected: --modle; did you mean "
            "'--model'?; 'dirty_seg detect --help' shows the usage\n");
  EXPECT_THAT(RunProgram({"check", "--stric=1", "c.yaml"}).errors,
              HasSubstr("did you mean '--strict'?"));
  EXPECT_THAT(RunProgram({"--verison"}).errors, HasSubstr("did you mean '--version'?"));
}

TEST(Usage, NamesInitAndHostWhereTheNetworkOrConfigurationIsMissing) {
  const std::string rest =
      " is required; 'dirty_seg init SEG.onnx' writes a host file that has it, for --host "
      "HOST.yaml; 'dirty_seg detect --help' shows the usage\n";
  EXPECT_EQ(RunProgram({"detect", "x.png"}).errors, "dirty_seg: error: --model" + rest);
  EXPECT_EQ(RunProgram({"detect", "--model", "m", "x.png"}).errors,
            "dirty_seg: error: --config" + rest);
  for (const char* command : {"bench", "dump"}) {
    EXPECT_THAT(RunProgram({command, "x.png"}).errors, HasSubstr("'dirty_seg init SEG.onnx'"));
  }
  EXPECT_THAT(RunProgram({"check"}).errors, HasSubstr("'dirty_seg init SEG.onnx'"));
}

TEST(Usage, SendsAnOptionBehindItsCommand) {
  EXPECT_THAT(RunProgram({"--model", "x", "detect"}).errors,
              HasSubstr("--model belongs after the command, as in 'dirty_seg detect --model'"));
}

TEST(Usage, SaysWhereThresholdsAreSet) {
  const auto answer = [](const std::string& option) {
    const ProgramResult result =
        RunProgram({"detect", "--model", "m", "--config", "c", option, "0.5", "x.png"});
    EXPECT_EQ(result.status, 2);
    return result.errors;
  };
  const auto both = [](const std::string& option) {
    return " is not an option: " + option +
           " sets this for one run, and the file that --config names for every run, as "
           "postprocess.";
  };
  const std::string in_file =
      " is not an option: the file that --config names sets this, as postprocess.";
  EXPECT_EQ(answer("--conf-thres"),
            "dirty_seg: error: --conf-thres" + both("--conf") +
                "score_threshold; 'dirty_seg detect --help' shows the usage\n");
  EXPECT_THAT(answer("--conf_thres=0.5"),
              HasSubstr("error: --conf_thres" + both("--conf") + "score_threshold;"));
  EXPECT_THAT(answer("--nms"), HasSubstr("error: --nms" + both("--iou") + "iou_threshold;"));
  EXPECT_THAT(answer("--max_det"),
              HasSubstr("error: --max_det" + both("--max-det") + "max_detections;"));
  EXPECT_THAT(answer("--mask"), HasSubstr(both("--mask-threshold") + "mask_threshold;"));
  EXPECT_THAT(answer("--class"), HasSubstr(both("--classes") + "classes;"));
  EXPECT_THAT(answer("--agnostic-nms"), HasSubstr(in_file + "class_agnostic;"));
  EXPECT_THAT(answer("--score-thresholds"), HasSubstr(in_file + "score_thresholds;"));
  EXPECT_THAT(answer("--confi"), HasSubstr("did you mean '--config'?"));
}

// A command has its own options.
TEST(Usage, NamesAnOptionForAThresholdOnlyWhereThereIsOne) {
  EXPECT_THAT(RunProgram({"bench", "--nms", "0.5"}).errors, HasSubstr("--iou sets this"));
  EXPECT_THAT(RunProgram({"dump", "--nms", "0.5"}).errors, HasSubstr("--iou sets this"));
  EXPECT_THAT(RunProgram({"check", "c", "--iou=1"}).errors,
              HasSubstr("error: --iou is not an option: the file that --config names sets this, as "
                        "postprocess.iou_threshold;"));
  EXPECT_THAT(RunProgram({"env", "--conf"}).errors, Not(HasSubstr("postprocess")));
}

TEST(Usage, RefusesAnOutputFolderWithoutAName) {
  const ProgramResult result =
      RunProgram({"detect", "--model", "m", "--config", "c", "--output", "", "x.png"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, HasSubstr("--output: the text is empty; expected a folder's name"));
}

TEST(Usage, FailsWhereStandardOutputIsFull) {
  for (const Arguments& arguments :
       {Arguments{"env"}, Arguments{"--version"}, Arguments{"detect", "--help"},
        Arguments{"completion", "bash"}, Arguments{"inspect", CommonNetwork("seg-b2-64")}}) {
    const ProgramResult result = RunProgram(arguments, {}, "/dev/full");
    EXPECT_EQ(result.status, 2) << arguments[0];
    EXPECT_THAT(result.errors,
                EndsWith(" cannot be written to standard output: No space left on device\n"))
        << arguments[0];
  }
}

// ---- Names that a terminal would act on ---------------------------------------------------------

// "\033c" clears the screen, and the line break begins a line that looks like our own.
class Terminal : public testing::Test {
 protected:
  test::TemporaryFolder folder_;
  const std::string name_ = folder_ / "\033c\ndirty_seg: all is well.png";
  const std::string shown_ = folder_ / "\\x1bc\\ndirty_seg: all is well.png";
};

TEST_F(Terminal, IsSafeFromNamesInMessages) {
  const std::string config =
      folder_.Write("c.yaml", "patch: {enable: true, patches: [[0, 0, 64, 64]]}\n");
  test::WritePicture(name_, test::Plain(test::kFrame, test::kRedPixel));
  const ProgramResult found =
      RunProgram({"detect", "--model", CommonNetwork("seg-b2-64"), "--config", config, "--output",
                  folder_ / "out", name_, name_ + "\x9b"});
  EXPECT_EQ(found.status, 1);
  EXPECT_THAT(found.errors, HasSubstr("image 1/2 " + shown_ + ": 1920x1080 1 red, "));
  EXPECT_THAT(found.errors, HasSubstr("dirty_seg: error: '" + shown_ + "\\x9b': cannot be opened"));
  EXPECT_EQ(found.errors.find_first_of("\033\x9b"), std::string::npos);
}

TEST_F(Terminal, IsSafeFromNamesInResultsForPeople) {
  folder_.MakeFolder("\033c\ndirty_seg: all is well.png");
  const std::string config = name_ + "/c.yaml";
  std::ofstream(config) << "patch: {enable: \"\\ec\"}\n";
  const std::string checked = RunProgram({"check", config}).output;
  EXPECT_THAT(checked, HasSubstr(shown_ + "/c.yaml:1: error: patch.enable is '"));
  EXPECT_EQ(checked.find('\033'), std::string::npos);
  EXPECT_EQ(Lines(checked).size(), 3U);

  std::filesystem::copy(CommonNetwork("classifier-224"), name_ + "/f.onnx");
  const std::string inspected = RunProgram({"inspect", name_ + "/f.onnx"}).output;
  EXPECT_EQ(inspected.substr(0, inspected.find('\n')), shown_ + "/f.onnx");
  EXPECT_THAT(RunProgram({"env"}, {"SPDLOG_LEVEL=\033c"}).output,
              HasSubstr("'\\x1bc' is not one of"));
}

TEST_F(Terminal, IsSafeFromNamesInComparisons) {
  const std::string line =
      R"({"schema_version":1,"source":"\u001bc\nred.png","frame":0,"image_size":[1080,1920],)"
      R"("success":true,"message":"success","bboxes":[],"scores":[],"labels":[],)"
      R"("mask_pixel_counts":[],"label_masks":{},"label_names":{},"timing_ms":{}})";
  std::string other = line;
  other.replace(other.find("red.png"), 7, "odd.png");
  const std::string a = folder_.Write("a.jsonl", line + "\n");
  const std::string b = folder_.Write("b.jsonl", line + "\n" + other + "\n");
  const ProgramResult result = RunProgram({"compare", a, b});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_THAT(result.output, HasSubstr("\n\\x1bc\\nred.png "));
  EXPECT_THAT(result.output, HasSubstr("only in B  '\\x1bc\\nodd.png'\n"));
  EXPECT_EQ(result.output.find('\033'), std::string::npos);
}

// ---- Help ---------------------------------------------------------------------------------------

TEST(Help, ListsTheCommands) {
  EXPECT_THAT(Commands(),
              AllOf(Contains("check"), Contains("completion"), Contains("detect"), Contains("env"),
                    Contains("help"), Contains("init"), Contains("inspect")));
}

TEST(Help, OfTheCommandHelpIsThatOfTheFlag) {
  EXPECT_EQ(RunProgram({"help"}).output, RunProgram({"--help"}).output);
  for (const std::string& command : Commands()) {
    const ProgramResult result = RunProgram({"help", command});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, RunProgram({command, "--help"}).output) << command;
    EXPECT_THAT(result.output, HasSubstr("Usage: dirty_seg " + command));
  }
  const ProgramResult slip = RunProgram({"help", "detcet"});
  EXPECT_EQ(slip.status, 2);
  EXPECT_EQ(
      slip.errors,
      "dirty_seg: error: 'detcet' is not a command; did you mean 'detect'?; 'dirty_seg --help' "
      "shows the usage\n");
}

TEST(Help, OfEveryCommandFitsAScreenAndShowsAnExample) {
  Words commands = Commands();
  commands.emplace_back("");
  for (const std::string& command : commands) {
    const ProgramResult result =
        command.empty() ? RunProgram({"--help"}) : RunProgram({command, "--help"});
    EXPECT_EQ(result.status, 0);
    const Words lines = Lines(result.output);
    EXPECT_LE(lines.size(), 24U) << result.output;
    for (const std::string& line : lines) EXPECT_LE(line.size(), 80U) << line;
    EXPECT_THAT(result.output, HasSubstr("Example:\n")) << command;
  }
}

// ---- Completion ---------------------------------------------------------------------------------

class Completion : public testing::Test {
 protected:
  Completion() {
    folder_.MakeFolder("nets");
    folder_.Write("seg.onnx", "");
    folder_.Write("two words.yaml", "");
  }

  bool Has(const std::string& shell) const {
    return std::system(("command -v " + shell + " >" + folder_ / "which").c_str()) == 0;
  }

  std::string Script(const std::string& shell) {
    const ProgramResult result = RunProgram({"completion", shell});
    EXPECT_EQ(result.status, 0);
    return folder_.Write("completion." + shell, result.output);
  }

  // What bash offers for the last of `words`.
  Words Bash(const Words& words) {
    std::string array;
    for (const std::string& word : words) array += " '" + word + "'";
    const std::string script =
        "set -u\nsource " + Script("bash") + "\ncd " + folder_.path() + "\nCOMP_WORDS=(" + array +
        ")\nCOMP_CWORD=" + std::to_string(words.size() - 1) +
        "\n_dirty_seg\nprintf '%s\\n' \"${COMPREPLY[@]}\" >" + (folder_ / "replies") + "\n";
    const std::string command = "bash --norc " + folder_.Write("ask.bash", script);
    EXPECT_EQ(std::system(command.c_str()), 0) << script;
    Words replies = Lines(ReadFile(folder_ / "replies"));
    if (replies == Words{""}) replies.clear();
    return replies;
  }

  test::TemporaryFolder folder_;
};

TEST_F(Completion, OfBashKnowsCommandsAndOptions) {
  if (!Has("bash")) GTEST_SKIP() << "bash is not installed";
  EXPECT_THAT(Bash({"dirty_seg", "det"}), ElementsAre("detect"));
  EXPECT_THAT(Bash({"dirty_seg", "--v"}), ElementsAre("--version"));
  EXPECT_THAT(Bash({"dirty_seg", "detect", "--fece-a"}), ElementsAre("--fece-area-threshold"));
  EXPECT_THAT(Bash({"dirty_seg", "check", "--"}), Contains("--host"));
  EXPECT_THAT(Bash({"dirty_seg", "env", "--"}), Not(Contains("--model")));
}

TEST_F(Completion, OfBashOffersExactlyWhatTheHelpNames) {
  if (!Has("bash")) GTEST_SKIP() << "bash is not installed";
  for (const std::string& command : Commands()) {
    const std::set<std::string> flags = FlagsInHelp(command);
    EXPECT_THAT(flags, Contains("--help"));
    EXPECT_THAT(Bash({"dirty_seg", command, "-"}), UnorderedElementsAreArray(flags)) << command;
  }
}

TEST_F(Completion, OfZshOffersExactlyWhatTheHelpNames) {
  if (!Has("zsh")) GTEST_SKIP() << "zsh is not installed (Debian package zsh)";
  // In the place of zsh's own, one that prints the flags it is given.
  const std::string ask = "compdef() { : }\n_arguments() { print -rl -- $@ }\nsource " +
                          Script("zsh") + "\nCURRENT=3\n";
  for (const std::string& command : Commands()) {
    const std::string script =
        folder_.Write("ask.zsh", ask + "words=(dirty_seg " + command + " -)\n_dirty_seg\n");
    ASSERT_EQ(std::system(("zsh -f " + script + " >" + folder_ / "replies").c_str()), 0);
    Words offered;
    for (const std::string& line : Lines(ReadFile(folder_ / "replies"))) {
      std::smatch match;
      const std::regex flag_line(R"((?:\([^)]*\)|\*)(-[^\[]*)\[.*)");
      if (std::regex_match(line, match, flag_line)) offered.push_back(match[1]);
    }
    EXPECT_THAT(offered, UnorderedElementsAreArray(FlagsInHelp(command))) << command;
  }
}

TEST_F(Completion, OfBashKnowsValues) {
  if (!Has("bash")) GTEST_SKIP() << "bash is not installed";
  EXPECT_THAT(Bash({"dirty_seg", "inspect", "--format", ""}),
              UnorderedElementsAre("text", "json", "cpp", "yaml"));
  EXPECT_THAT(Bash({"dirty_seg", "completion", "z"}), ElementsAre("zsh"));
  EXPECT_THAT(Bash({"dirty_seg", "help", "in"}), UnorderedElementsAre("init", "inspect"));
  EXPECT_THAT(Bash({"dirty_seg", "detect", "--model", "se"}), ElementsAre("seg.onnx"));
  EXPECT_THAT(Bash({"dirty_seg", "check", "two"}), ElementsAre("two words.yaml"));
  EXPECT_THAT(Bash({"dirty_seg", "detect", "--output", ""}), ElementsAre("nets"));
  EXPECT_THAT(Bash({"dirty_seg", "detect", "--threads", ""}), IsEmpty());
}

TEST_F(Completion, OfZshIsReadAndOffersCommandsAndOptions) {
  if (!Has("zsh")) GTEST_SKIP() << "zsh is not installed (Debian package zsh)";
  const std::string script = Script("zsh");
  // A shell in a pseudo terminal, since zsh completes nothing elsewhere.
  const std::string ask =
      "zmodload zsh/zpty\n"
      "zpty shell 'TERM=dumb PS1= zsh -f -i'\n"
      "zpty -w shell 'autoload -Uz compinit; compinit -u -D; source " +
      script + "; cd " + folder_.path() +
      "; dirty_seg() { print -r -- GOT $*; }; print READY'\n"
      "until zpty -r shell line && [[ $line == *READY* ]]; do :; done\n"
      "zpty -w -n shell $'dirty_seg insp\\t--for\\tj\\t\\n'\n"
      "repeat 40; do zpty -r -t shell line && print -r -- $line; sleep 0.1; done\n"
      "zpty -d shell\n";
  const std::string command =
      "zsh -f " + folder_.Write("ask.zsh", ask) + " >" + (folder_ / "replies") + " 2>&1 </dev/null";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_THAT(ReadFile(folder_ / "replies"), HasSubstr("GOT inspect --format json"));
}

TEST(CompletionCommand, RefusesAnotherShell) {
  const ProgramResult result = RunProgram({"completion", "fish"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, HasSubstr("fish is not one of bash, zsh"));
}

}  // namespace
}  // namespace dirty_seg

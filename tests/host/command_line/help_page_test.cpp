// Pages written out by hand.
#include "command_line/help_page.h"

#include <gtest/gtest.h>

namespace dirty_seg {
namespace {

TEST(HelpPage, ShowsTheProgramsOptionsAndCommands) {
  Program program("tool", "Does things", "1");
  program.Footer("Example:\n  tool run");
  program.AddCommand("run", "Does one thing");
  program.AddCommand("rest", "Does nothing");
  EXPECT_EQ(HelpPage(program),
            "Does things\n"
            "Usage: tool [OPTIONS] SUBCOMMAND\n"
            "\n"
            "Options:\n"
            "  -h,--help                  Show this help\n"
            "  --version                  Show the version\n"
            "\n"
            "Subcommands:\n"
            "  run                        Does one thing\n"
            "  rest                       Does nothing\n"
            "\n"
            "Example:\n"
            "  tool run\n");
}

TEST(HelpPage, ShowsOneLineAnOptionAndAGroupOnOne) {
  Program program("tool", "Does things", "1");
  Command command = program.AddCommand("run", "Does one thing");
  std::string text;
  std::vector<std::string> inputs;
  bool is_set = false;
  command.AddOption("CONFIG,--config", &text, "Patches").Required().TypeName("CONFIG.yaml");
  command.AddFlag("-q,--quiet", &is_set, "Errors alone").Group("What is said");
  command.AddOption("--with-a-long-name", &text, "First line\nsecond line").TypeName("SEG.onnx");
  command.AddOption("--level", &text, "Of messages").TypeName("LEVEL").Group("What is said");
  command.AddOption("OTHER", &text, "Another").TypeName("a|b");
  command.AddOption("INPUT", &inputs, "Pictures").Required().TypeName("");
  command.Footer("Example:\n  tool run x");
  EXPECT_EQ(HelpPage(program, command),
            "Does one thing\n"
            "Usage: tool run [OPTIONS] CONFIG [OTHER] INPUT...\n"
            "  OTHER a|b                  Another\n"
            "  INPUT                      Pictures\n"
            "  -h,--help                  Show this help\n"
            "  --config CONFIG.yaml       Patches\n"
            "  --with-a-long-name SEG.onnx  First line\n"
            "                             second line\n"
            "  -q,--quiet  --level LEVEL  What is said\n"
            "Example:\n"
            "  tool run x\n");
}

}  // namespace
}  // namespace dirty_seg

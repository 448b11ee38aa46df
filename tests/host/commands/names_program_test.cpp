// Names of classes from a file, in what the built program writes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "support/detect_fixture.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using test::Arguments;
using test::CommonNetwork;
using test::operator+;
using test::ReadFile;
using test::RunProgram;
using testing::IsEmpty;

class Names : public test::DetectFixture {
 protected:
  // The network calls its classes red and green, and finds the first.
  Arguments Common() {
    return {"--model", CommonNetwork("seg-b2-64"), "--config",
            folder_.Write("config.yaml", test::kPatches), Picture("a.png", test::kRedPixel)};
  }

  json NamesFor(const Arguments& options) {
    const auto result = RunProgram(Arguments{"detect"} + Common() + options);
    EXPECT_EQ(result.status, 0) << result.errors;
    errors_ = result.errors;
    return json::parse(result.output)["label_names"];
  }

  std::string errors_;
};

TEST_F(Names, OfTheFileStandOverTheNetworks) {
  EXPECT_EQ(NamesFor({}), json({{"0", "red"}}));
  EXPECT_EQ(NamesFor({"--names", folder_.Write("names.txt", "rust\nmoss\n")}),
            json({{"0", "rust"}}));
  EXPECT_THAT(errors_, IsEmpty());
  // No mixture of both.
  EXPECT_EQ(NamesFor({"--names", folder_.Write("one.yaml", "names: {1: moss}\n")}), json::object());
}

TEST_F(Names, AreFoundBesideTheHostFile) {
  folder_.Write("names.txt", "rust\nmoss\n");
  EXPECT_EQ(NamesFor({"--host", folder_.Write("host.yaml", "names: names.txt\n")}),
            json({{"0", "rust"}}));
}

TEST_F(Names, AreThoseOfADumpToo) {
  const auto dumped = RunProgram(Arguments{"dump", "--output", folder_ / "dump", "--names",
                                           folder_.Write("names.yaml", "- rust\n- moss\n")} +
                                 Common());
  EXPECT_EQ(dumped.status, 0) << dumped.errors;
  EXPECT_EQ(json::parse(ReadFile(folder_ / "dump/dump.json"))["detections"][0]["name"], "rust");
}

TEST_F(Names, OfClassesThatTheNetworkLacksAreWarnedOf) {
  const std::string names = folder_.Write("names.yaml", "0: rust\n19: cow\n2: leaf\n");
  const auto result =
      RunProgram(Command() + Classifier(CommonNetwork("classifier-224")) +
                 Arguments{"--names", names, Picture("magenta.png", test::kMagentaPixel)});
  // Class 19 stays the classifier's.
  EXPECT_EQ(json::parse(result.output)["label_names"], json({{"19", "faeces"}}));
  const auto warning = [&](const std::string& id) {
    return "dirty_seg: warning: '" + names + "' names class " + id +
           ": the segmentation network has no such class, so it has no effect; expected class ids "
           "from 0 to 1\n";
  };
  EXPECT_EQ(result.errors, warning("2") + warning("19"));
}

TEST_F(Names, OfAFileThatIsNoneAreRefused) {
  const std::string names = folder_.Write("names.txt", "a\n\nb\n");
  EXPECT_EQ(
      RefusalOf(Arguments{"detect"} + Common() + Arguments{"--names", names}),
      "dirty_seg: error: '" + names + "' line 2: is empty, with names after it; expected a name\n");
  EXPECT_EQ(RefusalOf(Arguments{"dump"} + Common() + Arguments{"--names", folder_ / "gone"}),
            "dirty_seg: error: '" + folder_ / "gone" +
                "': cannot be opened: No such file or directory\n");
}

}  // namespace
}  // namespace dirty_seg

// The page as text. What it does in a browser is in report_page_test.py.
#include "report/report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <stdexcept>
#include <string>

#include "base/errors.h"
#include "report/embedded_files.h"
#include "support/pictures.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

std::size_t CountOf(const std::string& part, const std::string& text) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++count;
  return count;
}

// What stands between the two texts, the first time that it does.
std::string Between(const std::string& begin, const std::string& end, const std::string& text) {
  const std::size_t from = text.find(begin);
  if (from == std::string::npos) return "(not there)";
  const std::size_t start = from + begin.size();
  return text.substr(start, text.find(end, start) - start);
}

class Report : public testing::Test {
 protected:
  Report() {
    results_.folder = folder_.MakeFolder("kitchen");
    results_.file = results_.folder + "/results.jsonl";
    options_.version = "1.2.3";
  }

  StoredFrame FrameWithPicture(const std::string& name) {
    StoredFrame frame;
    frame.source =
        test::WritePicture(folder_ / name, test::Plain(cv::Size(64, 48), test::kRedPixel));
    frame.detections = {{{8, 8, 40, 40}, 0.5F, 3}};
    return frame;
  }

  std::string Page() {
    outcome_ = WriteReport(results_, options_, folder_ / "page.html");
    return test::ReadFile(folder_ / "page.html");
  }

  test::TemporaryFolder folder_;
  Results results_;
  ReportOptions options_;
  ReportOutcome outcome_;
};

TEST_F(Report, HasEveryPlaceOfThePageFilled) {
  results_.frames = {FrameWithPicture("a.png")};
  const std::string page = Page();
  EXPECT_THAT(page, Not(HasSubstr("{{")));
  EXPECT_THAT(page, HasSubstr("<title>Results of kitchen</title>"));
  EXPECT_THAT(page, HasSubstr("Made by dirty_seg 1.2.3."));
  EXPECT_EQ(outcome_.frames, 1U);
  EXPECT_EQ(outcome_.pictures, 1U);
  EXPECT_EQ(outcome_.bytes, page.size());
}

TEST_F(Report, CarriesTheLicencesOfWhatItCarries) {
  const std::string page = Page();
  EXPECT_THAT(page, HasSubstr("Copyright (c) 2022 Leon Sorokin"));
  EXPECT_THAT(page, HasSubstr("Copyright (c) 2016 Tanner Linsley"));
  EXPECT_EQ(CountOf("Permission is hereby granted", page), 2U);
  EXPECT_TRUE(std::regex_search(page, std::regex("<h3>uPlot [0-9]+[.][0-9]+[.][0-9]+</h3>")));
  EXPECT_TRUE(std::regex_search(page, std::regex("<h3>TanStack Table [0-9]+[.][0-9.]+</h3>")));
}

TEST_F(Report, RunsAndStylesItselfWithOneWordAlone) {
  const std::string page = Page();
  const std::string policy = Between("Policy\" content=\"", "\"", page);
  const std::string nonce = Between("script-src 'nonce-", "'", policy);
  EXPECT_EQ(nonce.size(), 24U);
  EXPECT_THAT(policy, HasSubstr("default-src 'none'; img-src data:; style-src 'nonce-" + nonce));
  EXPECT_THAT(policy, Not(HasSubstr("unsafe")));
  EXPECT_EQ(CountOf("<script nonce=\"" + nonce + "\">", page), 15U);
  EXPECT_EQ(CountOf("<style nonce=\"" + nonce + "\">", page), 2U);
  EXPECT_NE(Between("script-src 'nonce-", "'", Page()), nonce);
}

TEST_F(Report, NamesNothingToLoad) {
  results_.frames = {FrameWithPicture("a.png")};
  const std::string page = Page();
  const std::regex loads(R"((src|href|srcset|poster|action)\s*=\s*["']?\s*(https?:)?//)",
                         std::regex::icase);
  EXPECT_FALSE(std::regex_search(page, loads));
  EXPECT_THAT(page, Not(HasSubstr("@import")));
  EXPECT_THAT(page, Not(HasSubstr("url(")));
  EXPECT_THAT(page, Not(HasSubstr("sourceMappingURL")));
}

TEST_F(Report, KeepsHostileTextFromBecomingMarkup) {
  const std::string hostile =
      "</script><script>alert('\"1\"')</script><img src=x onerror=alert(2)>";
  options_.title = hostile + "\xff";
  StoredFrame frame = FrameWithPicture("a.png");
  frame.label_names[3] = hostile;
  StoredFrame failed;
  failed.source = hostile + std::string(100000, 'x');
  failed.success = false;
  failed.message = hostile + "\xc3\x28";
  results_.frames = {frame, failed};
  const std::string calm = Between("<body>", "</body>", Page());
  EXPECT_THAT(calm, Not(HasSubstr("<script>")));
  EXPECT_THAT(calm, Not(HasSubstr("<img")));
  EXPECT_EQ(CountOf("</script>", calm), CountOf("<script ", calm));
  const json data = json::parse(Between("id=\"data\">", "</script>", calm));
  EXPECT_EQ(data["labels"]["3"]["name"], hostile);
  EXPECT_EQ(data["frames"][1]["source"], failed.source);
  EXPECT_EQ(data["frames"][1]["message"], hostile + "\ufffd(");
}

TEST_F(Report, CarriesPicturesOfSoManyFrames) {
  for (int i = 0; i < 5; ++i) {
    results_.frames.push_back(FrameWithPicture(std::to_string(i) + ".png"));
  }
  options_.max_frames = 2;
  const std::string page = Page();
  EXPECT_EQ(CountOf("<script type=\"text/plain\" id=\"picture-", page), 2U);
  EXPECT_EQ(CountOf("<script type=\"text/plain\" id=\"thumb-", page), 2U);
  EXPECT_EQ(outcome_.frames, 5U);
  EXPECT_EQ(outcome_.pictures, 2U);
}

TEST_F(Report, CarriesCropsOfWhatWasRejected) {
  StoredFrame frame = FrameWithPicture("a.png");
  frame.detections.resize(3, frame.detections[0]);
  frame.candidates = {{0, "confirmed", 0.9}, {1, "rejected", 0.1}, {2, "not_checked", {}}};
  results_.frames = {frame};
  const std::string page = Page();
  EXPECT_EQ(CountOf("id=\"crop-", page), 1U);
  EXPECT_THAT(page, HasSubstr("id=\"crop-0-1\">/9j/"));  // how a JPEG begins
}

TEST_F(Report, LeavesNothingBehindWhenItFails) {
  StoredFrame frame = FrameWithPicture("a.png");
  frame.masks[3].run_lengths = {2, 2, "~"};
  results_.frames = {frame};
  folder_.Write("page.html", "the page before");
  EXPECT_THROW(Page(), SetupError);
  EXPECT_EQ(test::ReadFile(folder_ / "page.html"), "the page before");
  EXPECT_FALSE(fs::exists(folder_ / "page.html.part"));
}

TEST_F(Report, NamesAPageThatCannotBeWritten) {
  const std::string path = folder_ / "no folder/page.html";
  EXPECT_EQ(test::RejectionOf<OutputError>([&] { WriteReport(results_, options_, path); }),
            "'" + path + "' cannot be written: No such file or directory");
}

TEST(EmbeddedFile, CannotEndTheElementThatCarriesIt) {
  for (const char* name : {"uplot.js", "table-core.js", "base.js", "viewer.js", "main.js"}) {
    const std::string text(EmbeddedFile(name));
    EXPECT_GT(text.size(), 500U) << name;
    EXPECT_THAT(text, Not(HasSubstr("</script"))) << name;
    EXPECT_THAT(text, Not(HasSubstr("<!--"))) << name;
  }
  EXPECT_THROW(EmbeddedFile("none.js"), std::out_of_range);
}

}  // namespace
}  // namespace dirty_seg

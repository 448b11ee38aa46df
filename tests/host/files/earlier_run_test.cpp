// What is removed before a run writes over another's results, and what never is.
#include "files/earlier_run.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

class EarlierRun : public testing::Test {
 protected:
  // Makes the file in the folder of results.
  void Make(const std::string& name) const { folder_.Write("out/" + name, "x"); }

  bool Has(const std::string& name) const {
    return fs::exists(fs::symlink_status(folder_ / "out/" + name));
  }

  void RemoveListed(const std::string& list) const {
    folder_.Write("out/results_files.txt", list);
    RemoveEarlierRun(folder_ / "out");
  }

  test::TemporaryFolder folder_;
  const std::string out_ = folder_.MakeFolder("out");
};

TEST_F(EarlierRun, IsRemovedAsFarAsItsListGoes) {
  folder_.MakeFolder("out/labels");
  std::string list = "labels/\n";
  for (const char* name :
       {"a.overlay.jpg", "a.mask_19.png", "a.crop_0.rejected_0.31.png", "v.overlay.avi",
        "v.overlay.part.avi", "labels/a.txt", "coco_results.json", "coco_images.json",
        "polygons.jsonl", "summary.json", "b.overlay.jpg.part"}) {
    Make(name);
    list += std::string(name) + "\n";
  }
  list += "b.overlay.jpg\nmissing.overlay.jpg\n";
  Make("c.overlay.jpg");
  Make("notes.txt");
  RemoveListed(list);
  std::size_t left = 0;
  for (const auto& entry : fs::directory_iterator(out_)) {
    ++left;
    EXPECT_TRUE(entry.path().filename() == "c.overlay.jpg" ||
                entry.path().filename() == "notes.txt" ||
                entry.path().filename() == "results_files.txt")
        << entry.path();
  }
  EXPECT_EQ(left, 3U);
}

TEST_F(EarlierRun, LeavesAFolderOfLabelsWithSomethingInIt) {
  folder_.MakeFolder("out/labels");
  Make("labels/a.txt");
  Make("labels/mine.txt");
  RemoveListed("labels/\nlabels/a.txt\n");
  EXPECT_FALSE(Has("labels/a.txt"));
  EXPECT_TRUE(Has("labels/mine.txt"));
}

TEST_F(EarlierRun, RemovesNothingThatNoRunWrites) {
  folder_.Write("a.overlay.jpg", "outside");
  folder_.MakeFolder("out/sub");
  folder_.MakeFolder("out/d.overlay.jpg");
  folder_.MakeFolder("out/labels");
  folder_.Write("a.txt", "outside");
  fs::create_symlink(folder_ / "a.overlay.jpg", folder_ / "out/l.overlay.jpg");
  for (const char* name : {"notes.txt", "results.jsonl", "report.html", "sub/a.overlay.jpg",
                           "labels/a.png", "a.jpg"}) {
    Make(name);
  }
  RemoveListed(folder_ / "a.overlay.jpg" +
               "\n../a.overlay.jpg\nlabels/../../a.txt\nlabels/..\n..\n.\n\n/\nnotes.txt\n"
               "results.jsonl\nreport.html\nsub/a.overlay.jpg\nd.overlay.jpg\nl.overlay.jpg\n"
               "labels/a.png\na.jpg\nresults_files.txt\n" +
               std::string("notes.txt\0.overlay.jpg\n", 23) + std::string(1000000, 'a') +
               ".overlay.jpg\n");
  EXPECT_TRUE(fs::exists(folder_ / "a.overlay.jpg"));
  EXPECT_TRUE(fs::exists(folder_ / "a.txt"));
  for (const char* name :
       {"notes.txt", "results.jsonl", "report.html", "sub/a.overlay.jpg", "labels/a.png", "a.jpg",
        "d.overlay.jpg", "l.overlay.jpg", "labels", "results_files.txt"}) {
    EXPECT_TRUE(Has(name)) << name;
  }
}

TEST_F(EarlierRun, FollowsNoLinkInPlaceOfItsLabels) {
  folder_.MakeFolder("elsewhere");
  folder_.Write("elsewhere/a.txt", "outside");
  fs::create_directory_symlink(folder_ / "elsewhere", folder_ / "out/labels");
  RemoveListed("labels/\nlabels/a.txt\n");
  EXPECT_TRUE(fs::exists(folder_ / "elsewhere/a.txt"));
  EXPECT_TRUE(Has("labels"));
}

TEST_F(EarlierRun, WithoutALineLeavesASummaryThatMayBeAnybodys) {
  Make("summary.json");
  folder_.Write("out/results.jsonl", "");
  RemoveEarlierRun(out_);
  EXPECT_TRUE(Has("summary.json"));
}

TEST_F(EarlierRun, WithoutAListIsWhatItsResultsName) {
  for (const char* name : {"a.overlay.jpg", "a.mask_0.png", "a.mask_1.png", "b.overlay.jpg",
                           "summary.json", "notes.txt", "c.overlay.jpg"}) {
    Make(name);
  }
  folder_.Write("out/results.jsonl",
                R"({"overlay": "a.overlay.jpg", "label_masks": {"0": {"file": "a.mask_0.png"},)"
                R"( "1": {"file": "a.mask_1.png"}, "2": {"file": "notes.txt"}, "3": 4}})"
                "\n[1]\n{\"overlay\": 7, \"label_masks\": []}\n{\"overlay\": \"b.overlay.jpg\"}\n"
                "{\"overlay\": \"c.over");
  RemoveEarlierRun(out_);
  for (const char* name :
       {"a.overlay.jpg", "a.mask_0.png", "a.mask_1.png", "b.overlay.jpg", "summary.json"}) {
    EXPECT_FALSE(Has(name)) << name;
  }
  for (const char* name : {"notes.txt", "c.overlay.jpg", "results.jsonl"}) {
    EXPECT_TRUE(Has(name)) << name;
  }
}

}  // namespace
}  // namespace dirty_seg

// Files with names of classes, in each of their forms.
#include "config/class_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/errors.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::Pair;

class ClassNames : public testing::Test {
 protected:
  std::map<std::int32_t, std::string> Read(const std::string& name, const std::string& text) {
    return ReadClassNames(folder_.Write(name, text));
  }

  // Without the name of the file, which every refusal begins with.
  std::string RefusalOf(const std::string& name, const std::string& text) {
    const std::string path = folder_.Write(name, text);
    const std::string refusal = test::RejectionOf<SetupError>([&] { ReadClassNames(path); });
    const std::string begin = "'" + path + "'";
    EXPECT_EQ(refusal.substr(0, begin.size()), begin);
    return refusal.substr(begin.size());
  }

  test::TemporaryFolder folder_;
};

TEST_F(ClassNames, AreReadFromEachForm) {
  const auto both = ElementsAre(Pair(0, "spill"), Pair(1, "solid waste"));
  EXPECT_THAT(Read("a.yaml", "0: spill\n1: solid waste\n"), both);
  EXPECT_THAT(Read("b.yaml", "- spill\n- solid waste\n"), both);
  EXPECT_THAT(Read("c.yml", "path: data\nnc: 2\nnames: [spill, solid waste]\n"), both);
  EXPECT_THAT(Read("d.yaml", "train: images\nnames:\n  0: spill\n  1: solid waste\n"), both);
  EXPECT_THAT(Read("e.json", R"({"names": {"0": "spill", "1": "solid waste"}})"), both);
  EXPECT_THAT(Read("f.txt", "spill\nsolid waste\n"), both);
  EXPECT_THAT(Read("g.txt", "\xef\xbb\xbfspill  \r\n solid waste\r\n\r\n\n"), both);
  EXPECT_THAT(Read("h.names", "- spill\n- solid waste\n"), both);
}

TEST_F(ClassNames, MayLeaveIdsOut) {
  EXPECT_THAT(Read("a.yaml", "7: oil\n1000000: last\n"),
              ElementsAre(Pair(7, "oil"), Pair(1000000, "last")));
}

TEST_F(ClassNames, OfATextMayHaveSignsOfYaml) {
  EXPECT_THAT(Read("a.txt", "[wet\n: dry\n"), ElementsAre(Pair(0, "[wet"), Pair(1, ": dry")));
  EXPECT_THAT(Read("b.txt", "one\n"), ElementsAre(Pair(0, "one")));
  EXPECT_THAT(Read("c.txt", "12\n"), ElementsAre(Pair(0, "12")));
}

TEST_F(ClassNames, AreRefusedWithTheLine) {
  EXPECT_EQ(RefusalOf("a.yaml", "0: a\none: b\n"),
            " line 2: 'one' is not a class id; expected whole numbers from 0 to 1000000");
  EXPECT_EQ(RefusalOf("a.yaml", "names:\n  -1: b\n"),
            " line 2: '-1' is not a class id; expected whole numbers from 0 to 1000000");
  EXPECT_EQ(RefusalOf("a.yaml", "1000001: b\n"),
            " line 1: '1000001' is not a class id; expected whole numbers from 0 to 1000000");
  EXPECT_EQ(RefusalOf("a.yaml", "0: a\n1: b\n0: c\n"),
            " line 3: class 0 has a name already; expected one a class");
  EXPECT_EQ(RefusalOf("a.yaml", "- a\n- [b, c]\n"),
            " line 2: the name of class 1 is '[b, c]'; expected a text");
  EXPECT_EQ(RefusalOf("a.yaml", "names:\n  0: a\n  1:\n"),
            " line 3: the name of class 1 is empty; expected a text");
  EXPECT_EQ(RefusalOf("a.yaml", "- a\n- ''\n"),
            " line 2: the name of class 1 is empty; expected a text");
  EXPECT_THAT(RefusalOf("a.yaml", "0: a\n1: [b\n"), testing::HasSubstr("is not valid YAML"));
  EXPECT_EQ(RefusalOf("a.txt", "a\n\n \nb\n"),
            " line 2: is empty, with names after it; expected a name");
  EXPECT_EQ(RefusalOf("a.txt", "a\ncaf\xe9\n"),
            " line 2: the name of class 1 is not UTF-8; expected a text in UTF-8");
}

TEST_F(ClassNames, AreRefusedWhereThereAreNone) {
  const std::string expected =
      "; expected class ids with names, a list of names, 'names:' with one of these, or a text "
      "with "
      "a name a line";
  EXPECT_EQ(RefusalOf("a.yaml", "one\n"), " line 1: is 'one'" + expected);
  EXPECT_EQ(RefusalOf("a.yaml", "names: red\n"), " line 1: is 'red'" + expected);
  EXPECT_EQ(RefusalOf("a.yaml", "names: []\n"), ": has no names" + expected);
  EXPECT_EQ(RefusalOf("a.txt", "\n\n"), ": has no names" + expected);
  EXPECT_THAT(test::RejectionOf<SetupError>([&] { ReadClassNames(folder_ / "gone.txt"); }),
              EndsWith("gone.txt': cannot be opened: No such file or directory"));
  EXPECT_THAT(test::RejectionOf<SetupError>([&] { ReadClassNames(folder_.path()); }),
              EndsWith("': is a folder; expected a file with names of classes"));
}

}  // namespace
}  // namespace dirty_seg

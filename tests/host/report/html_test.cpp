#include "report/html.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;
using testing::HasSubstr;
using testing::Not;

TEST(EscapeHtml, LeavesPlainTextAlone) {
  EXPECT_EQ(EscapeHtml(""), "");
  EXPECT_EQ(EscapeHtml("a floor, 12 %"), "a floor, 12 %");
  EXPECT_EQ(EscapeHtml("K\u00fcche \u5e8a"), "K\u00fcche \u5e8a");
}

TEST(EscapeHtml, TakesMarkupItsMeaning) {
  EXPECT_EQ(EscapeHtml("<script>alert(1)</script>"), "&lt;script&gt;alert(1)&lt;/script&gt;");
  EXPECT_EQ(EscapeHtml("\" onload='x' &amp;"), "&quot; onload=&#39;x&#39; &amp;amp;");
}

TEST(EscapeHtml, ReplacesBytesThatAreNoUtf8) { EXPECT_EQ(EscapeHtml("a\xff<"), "a\ufffd&lt;"); }

TEST(JsonForScript, CannotEndItsElement) {
  const ordered_json json{{"</script><script>alert(1)</script>", "<!-- <script"}};
  const std::string text = JsonForScript(json);
  EXPECT_THAT(text, Not(HasSubstr("<")));
  EXPECT_EQ(ordered_json::parse(text), json);
}

TEST(JsonForScript, KeepsEveryOtherValue) {
  const ordered_json json =
      ordered_json::parse(R"({"z": [1.5, null, "\"\\\u0001\u2028"], "a": {}})");
  EXPECT_EQ(ordered_json::parse(JsonForScript(json)), json);
  EXPECT_EQ(JsonForScript({{"b", 1}, {"a", 2}}), R"({"b":1,"a":2})");
}

TEST(JsonForScript, ReplacesBytesThatAreNoUtf8) {
  EXPECT_EQ(JsonForScript({{"name", "a\xc3"}}), "{\"name\":\"a\ufffd\"}");
}

}  // namespace
}  // namespace dirty_seg

// Names of files of any bytes, as text.
#include "files/name_text.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace dirty_seg {
namespace {

// Whether the bytes are given besides the text.
bool HasBytes(const std::string& name) {
  nlohmann::ordered_json json;
  PutName("source", name, json);
  EXPECT_EQ(json["source"].get<std::string>(), name);
  return json.contains("source_bytes");
}

TEST(PutName, GivesTheBytesOfANameThatIsNoUtf8Alone) {
  nlohmann::ordered_json json;
  PutName("source", "caf\xe9.png", json);
  PutName("model", "caf\xc3\xa9.onnx", json);
  EXPECT_EQ(json["source_bytes"], "Y2Fm6S5wbmc=");
  EXPECT_FALSE(json.contains("model_bytes"));
}

// The standard's well-formed byte sequences, at both ends of each of its rows.
TEST(PutName, KnowsUtf8) {
  for (const char* name :
       {"", "a\x7f", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xe0\xbf\xbf", "\xe1\x80\x80",
        "\xec\xbf\xbf", "\xed\x80\x80", "\xed\x9f\xbf", "\xee\x80\x80", "\xef\xbf\xbf",
        "\xf0\x90\x80\x80", "\xf0\xbf\xbf\xbf", "\xf1\x80\x80\x80", "\xf3\xbf\xbf\xbf",
        "\xf4\x80\x80\x80", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_FALSE(HasBytes(name)) << name;
  }
  for (const char* name : {"\x80",
                           "\xbf",
                           "\xc0\x80",
                           "\xc1\xbf",
                           "\xc2",
                           "\xc2\x7f",
                           "\xc2\xc0",
                           "\xdf.",
                           "\xe0\x9f\xbf",
                           "\xe0\xc0\x80",
                           "\xe1\x80",
                           "\xe1\x80\x7f",
                           "\xe1\x80\xc0",
                           "\xed\xa0\x80",
                           "\xed\x7f\x80",
                           "\xf0\x8f\xbf\xbf",
                           "\xf0\xc0\x80\x80",
                           "\xf0\x90\x80",
                           "\xf0\x90\x80.",
                           "\xf1\x80.\x80",
                           "\xf4\x90\x80\x80",
                           "\xf4\x7f\x80\x80",
                           "\xf5\x80\x80\x80",
                           "\xff"}) {
    EXPECT_TRUE(HasBytes(name)) << name;
  }
}

TEST(PlainStem, IsTheNameWithoutItsEnding) {
  EXPECT_EQ(PlainStem("pictures/street.png"), "street");
  EXPECT_EQ(PlainStem("caf\xc3\xa9 50%#?'\".2.jpg"), "caf\xc3\xa9 50%#?'\".2");
}

TEST(PlainStem, HasNoByteThatATerminalOrAPageMayNotShow) {
  EXPECT_EQ(PlainStem("caf\xe9.png"), "caf%E9");
  EXPECT_EQ(PlainStem("a\x1b[31m\nb\x7f.png"), "a%1B[31m%0Ab%7F");
  EXPECT_EQ(PlainStem("a\xc2\x9b\xc2\xa0.png"), "a%C2%9B\xc2\xa0");
}

// 180 bytes at most: what is appended may take 75.
TEST(PlainStem, LeavesRoomForWhatGoesBehindIt) {
  EXPECT_EQ(PlainStem(std::string(250, 'a')), std::string(180, 'a'));
  EXPECT_EQ(PlainStem(std::string(179, 'a') + "\xc3\xa9"), std::string(179, 'a'));
  EXPECT_EQ(PlainStem(std::string(178, 'a') + "\xc3\xa9z"), std::string(178, 'a') + "\xc3\xa9");
}

}  // namespace
}  // namespace dirty_seg

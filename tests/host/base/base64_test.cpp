#include "base/base64.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace dirty_seg {
namespace {

std::string Encoded(const std::string& text) { return Base64({text.begin(), text.end()}); }

// RFC 4648, section 10.
TEST(Base64, EncodesTheStandardsExamples) {
  EXPECT_EQ(Encoded(""), "");
  EXPECT_EQ(Encoded("f"), "Zg==");
  EXPECT_EQ(Encoded("fo"), "Zm8=");
  EXPECT_EQ(Encoded("foo"), "Zm9v");
  EXPECT_EQ(Encoded("foob"), "Zm9vYg==");
  EXPECT_EQ(Encoded("fooba"), "Zm9vYmE=");
  EXPECT_EQ(Encoded("foobar"), "Zm9vYmFy");
}

TEST(Base64, TakesEveryByte) {
  EXPECT_EQ(Base64({0x00, 0x00, 0x00}), "AAAA");
  EXPECT_EQ(Base64({0xff, 0xff, 0xff}), "////");
  EXPECT_EQ(Base64({0xfb, 0xef, 0xbe, 0x80}), "++++gA==");
}

TEST(Base64, HasEveryCharacterOfTheAlphabet) {
  // 0, 1, ... 63 in groups of six bits.
  const std::vector<unsigned char> bytes{0x00, 0x10, 0x83, 0x10, 0x51, 0x87, 0x20, 0x92, 0x8b, 0x30,
                                         0xd3, 0x8f, 0x41, 0x14, 0x93, 0x51, 0x55, 0x97, 0x61, 0x96,
                                         0x9b, 0x71, 0xd7, 0x9f, 0x82, 0x18, 0xa3, 0x92, 0x59, 0xa7,
                                         0xa2, 0x9a, 0xab, 0xb2, 0xdb, 0xaf, 0xc3, 0x1c, 0xb3, 0xd3,
                                         0x5d, 0xb7, 0xe3, 0x9e, 0xbb, 0xf3, 0xdf, 0xbf};
  EXPECT_EQ(Base64(bytes), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST(Base64, IsReadBack) {
  for (const char* text : {"", "f", "fo", "foo", "foob", "\xfb\xef\xbe\x80"}) {
    EXPECT_EQ(BytesOfBase64(Encoded(text)), text);
  }
}

TEST(Base64, IsNotReadOutOfAnotherText) {
  for (const char* text :
       {"Zg", "Zg=", "Zg===", "Zh==", "=", "====", "Zm9v=", "Zm9v!A==", "Zm 9"}) {
    EXPECT_EQ(BytesOfBase64(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace dirty_seg

// What is said of files that are not a network, byte by byte.
#include "engine/file_look.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

#include "support/network_files.h"
#include "support/tiny_network.h"
#include "support/wire.h"

namespace nuvik::alg::common {
namespace {

using test::Bytes;
using test::Number;
using testing::StartsWith;

std::string LookOf(const std::string& bytes) {
  std::istringstream file(bytes);
  return LookOfNoNetwork(file);
}

TEST(FileLook, AnEmptyFileIsSaidToBeEmpty) {
  EXPECT_EQ(LookOf(""), "is empty; expected an ONNX file");
}

TEST(FileLook, AWebPageIsToldInWhateverLettersItBegins) {
  for (const char* page : {"<!DOCTYPE html>\n<html>", "<!doctype HTML>", "<html lang=\"en\">",
                           " \r\n\t<HTML>", "\xef\xbb\xbf<!DOCTYPE html>"}) {
    EXPECT_EQ(LookOf(page),
              "looks like an HTML page, as a download that was refused leaves it; expected an ONNX "
              "file")
        << page;
  }
}

TEST(FileLook, AGitLfsPointerIsToldWithItsRemedy) {
  EXPECT_EQ(LookOf("version https://git-lfs.example/v1\noid sha256:00ff\nsize 123456\n"),
            "is a Git LFS pointer, not the file itself; expected the file that 'git lfs pull' "
            "fetches");
}

TEST(FileLook, ATextIsQuoted) {
  EXPECT_EQ(LookOf("This is a text.\nOf two lines.\n"),
            "is a text that begins with \"This is a text.\"; expected an ONNX file");
  EXPECT_EQ(LookOf("\n\n  {\"error\": 404}\r\n"),
            "is a text that begins with \"{\"error\": 404}\"; expected an ONNX file");
  EXPECT_EQ(LookOf("<?xml version=\"1.0\"?>"),
            "is a text that begins with \"<?xml version=\"1.0\"?>\"; expected an ONNX file");
  EXPECT_EQ(LookOf("\n \n"), "is a text that begins with \"\"; expected an ONNX file");
}

TEST(FileLook, ALongLineIsCutBetweenLetters) {
  EXPECT_EQ(LookOf(std::string(40, 'a')),
            "is a text that begins with \"" + std::string(40, 'a') + "\"; expected an ONNX file");
  EXPECT_EQ(LookOf(std::string(41, 'a')), "is a text that begins with \"" + std::string(40, 'a') +
                                              "...\"; expected an ONNX file");
  EXPECT_EQ(
      LookOf(std::string(39, 'a') + "\xc3\xa9 and more"),
      "is a text that begins with \"" + std::string(39, 'a') + "...\"; expected an ONNX file");
}

TEST(FileLook, LettersOfAllLanguagesAreText) {
  const std::string letters = "\xc3\xa9\xe2\x82\xac\xf0\x9f\xa7\xb9";  // of two, three, four bytes
  EXPECT_EQ(LookOf(letters),
            "is a text that begins with \"" + letters + "\"; expected an ONNX file");
  EXPECT_THAT(LookOf("x" + std::string(1000, 'y')), StartsWith("is a text"));
  EXPECT_THAT(LookOf(std::string(511, 'x') + letters), StartsWith("is a text"));  // cut at 512
  for (const char* other : {"a\xe9t\xe9", "\xe2\x82(", "a\x01", "\xc3", "\177a", "\xf8\x80"}) {
    EXPECT_EQ(LookOf(other).find("is a text") == 0, std::string(other) == "\xc3") << other;
  }
}

TEST(FileLook, FilesOfOtherKindsAreToldByTheirFirstBytes) {
  const std::string zeros(60, '\0');
  for (const auto& [bytes, kind] : {
           std::pair("\x89PNG\r\n\x1a\n" + zeros, "a PNG picture"),
           std::pair("\xff\xd8\xff\xe0" + zeros, "a JPEG picture"),
           std::pair("GIF89a" + zeros, "a GIF picture"),
           std::pair("%PDF-1.7\n" + zeros, "a PDF document"),
           std::pair("PK\x03\x04" + zeros, "a ZIP archive, as PyTorch's files are"),
           std::pair("\x1f\x8b\x08" + zeros, "a gzip archive"),
           std::pair("\xfd" + std::string("7zXZ") + zeros, "an xz archive"),
           std::pair("\x28\xb5\x2f\xfd" + zeros, "a Zstandard archive"),
           std::pair("7z\xbc\xaf\x27\x1c" + zeros, "a 7-Zip archive"),
           std::pair(std::string("\x1c\0\0\0", 4) + "TFL3" + zeros, "a TensorFlow Lite network"),
           std::pair("\x89HDF\r\n\x1a\n" + zeros, "an HDF5 file, as Keras writes"),
           std::pair("\x80\x02\x8a\x0a" + zeros, "a Python pickle, as PyTorch's older files are"),
           std::pair("\x93NUMPY\x01" + zeros, "a NumPy array"),
           std::pair("GGUF\x03" + zeros, "a GGUF network"),
       }) {
    EXPECT_EQ(LookOf(bytes), std::string("is ") + kind + "; expected an ONNX file");
  }
}

TEST(FileLook, ZerosAreTold) {
  EXPECT_EQ(LookOf(std::string(5000, '\0')),
            "begins with zeros, as a download that was cut off can leave them; expected an ONNX "
            "file");
}

// A version of two bytes, a graph of 3 + 300 bytes.
TEST(FileLook, ACutOffNetworkIsToldWithTheLengthThatItAnnounces) {
  const std::string whole = Number(1, 8) + Bytes(7, std::string(300, '\x01'));
  ASSERT_EQ(whole.size(), 305U);
  EXPECT_EQ(LookOf(whole.substr(0, 200)),
            "ends in the middle: it has 200 bytes, and its contents announce at least 305; "
            "expected the whole ONNX file");
  EXPECT_EQ(LookOf(whole.substr(0, 5)),
            "ends in the middle: it has 5 bytes, and its contents announce at least 305; "
            "expected the whole ONNX file");
}

TEST(FileLook, ANetworkIsToldToBeCutOffWhereverThatIs) {
  const std::string whole = test::Serialise(test::PassOn(test::OnnxType::kFloat, {1, 4}));
  int told = 0;
  for (std::size_t length = 3; length < whole.size(); ++length) {
    const std::string look = LookOf(whole.substr(0, length));
    if (look.empty()) continue;  // between two fields
    EXPECT_THAT(look,
                StartsWith("ends in the middle: it has " + std::to_string(length) + " bytes"));
    ++told;
  }
  EXPECT_GT(told, static_cast<int>(whole.size()) - 10);
}

TEST(FileLook, WholeNetworksLookLikeNothingElse) {
  for (const char* name : {"seg-b2-64", "seg-dynamic", "classifier-224", "fails-at-run"}) {
    EXPECT_EQ(LookOf(test::ReadFile(test::NetworkPath(name))), "") << name;
  }
}

TEST(FileLook, UnknownBytesAreNotSaidToBeCutOff) {
  EXPECT_EQ(LookOf(std::string(300, '\xff')), "");
  // A field of no model; one that would have more bytes than a file can; a version alone.
  EXPECT_EQ(LookOf(Number(1, 8) + test::Varint(9 * 8 + 2) + test::Varint(1000)), "");
  EXPECT_EQ(LookOf(Number(1, 8) + test::Varint(7 * 8 + 2) + test::Varint(4000000000)), "");
  EXPECT_EQ(LookOf(Number(1, 8)), "");
}

}  // namespace
}  // namespace nuvik::alg::common

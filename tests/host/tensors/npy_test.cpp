// Tensors in files: what is written, what is read, what is refused.
#include "tensors/npy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/errors.h"
#include "engine/ai_engine.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using nuvik::alg::common::AIDataType;
using testing::ElementsAre;

class Npy : public testing::Test {
 protected:
  // A file with this header, and so many bytes of data.
  std::string File(const std::string& header, std::size_t bytes,
                   const std::string& version = std::string("\x01\x00", 2)) const {
    std::string content = "\x93NUMPY" + version;
    content += static_cast<char>(header.size() % 256);
    content += static_cast<char>(header.size() / 256);
    return folder_.Write("x.npy", content + header + std::string(bytes, '\x01'));
  }

  // Of a file of 8 bytes of data, what follows the file's name.
  std::string RefusalOf(const std::string& header) const { return RefusalOfFile(File(header, 8)); }

  static std::string RefusalOfFile(const std::string& path) {
    const std::string message = test::RejectionOf<SetupError>([&] { ReadNpy(path); });
    const std::string place = "'" + path + "': ";
    EXPECT_EQ(message.rfind(place, 0), 0U) << message;
    return message.substr(std::min(place.size(), message.size()));
  }

  test::TemporaryFolder folder_;
};

TEST_F(Npy, WritesAHeaderOfMultiplesOf64Bytes) {
  const std::string path = folder_ / "x.npy";
  WriteNpy(path, {AIDataType::kAIFloat32, {1, 2}, {0, 0, 0x80, 0x3f, 0, 0, 0, 0x40}});
  // 10 bytes before the dictionary, 59 of it and a line break are 70: 58 blanks up to 128.
  EXPECT_EQ(test::ReadFile(path),
            std::string("\x93NUMPY\x01\x00\x76\x00", 10) +
                "{'descr': '<f4', 'fortran_order': False, 'shape': (1, 2), }" +
                std::string(58, ' ') + "\n" + std::string("\0\0\x80\x3f\0\0\0\x40", 8));
}

TEST_F(Npy, GivesBackEveryTypeAndShape) {
  const std::string path = folder_ / "x.npy";
  const std::vector<std::pair<AIDataType, std::size_t>> types{
      {AIDataType::kAIUint8, 1}, {AIDataType::kAIFloat16, 2}, {AIDataType::kAIFloat32, 4},
      {AIDataType::kAIInt32, 4}, {AIDataType::kAIInt64, 8},   {AIDataType::kAIFloat64, 8}};
  for (const auto& [type, size] : types) {
    for (const std::vector<std::int64_t>& shape :
         {std::vector<std::int64_t>{}, {3}, {2, 3}, {0}, {1, 0, 5}}) {
      NpyArray array{type, shape, {}};
      for (std::size_t i = 0; i < array.ElementCount() * size; ++i) {
        array.bytes.push_back(static_cast<std::uint8_t>(i * 7));
      }
      WriteNpy(path, array);
      const NpyArray read = ReadNpy(path);
      EXPECT_EQ(read.type, type);
      EXPECT_EQ(read.shape, shape);
      EXPECT_EQ(read.bytes, array.bytes);
    }
  }
}

TEST_F(Npy, ReadsWhatOthersWrite) {
  const NpyArray array =
      ReadNpy(File("{\"shape\":(2 ,) ,'fortran_order' : False,\n 'descr':'<f4'}   \n", 8));
  EXPECT_THAT(array.shape, ElementsAre(2));
  EXPECT_EQ(array.type, AIDataType::kAIFloat32);
  EXPECT_EQ(array.bytes, std::vector<std::uint8_t>(8, 1));
}

TEST_F(Npy, RefusesAnotherBeginning) {
  EXPECT_EQ(RefusalOfFile(folder_ / "gone.npy"), "cannot be opened: No such file or directory");
  EXPECT_EQ(RefusalOfFile(folder_.Write("e.npy", "")),
            "is not a NumPy file: it does not begin with \\x93NUMPY");
  EXPECT_EQ(RefusalOfFile(folder_.Write("e.npy", "NUMPY\x93, nearly")),
            "is not a NumPy file: it does not begin with \\x93NUMPY");
  EXPECT_EQ(RefusalOfFile(File("{}", 0, std::string("\x02\x00", 2))),
            "is of format version 2.0; expected 1.0");
}

TEST_F(Npy, RefusesAFileThatEndsEarly) {
  const std::string whole =
      test::ReadFile(File("{'descr': '<f4', 'fortran_order': False, 'shape': (2,), }\n", 8));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const std::string path = folder_.Write("cut.npy", whole.substr(0, length));
    EXPECT_THROW(ReadNpy(path), SetupError) << length;
  }
  EXPECT_EQ(RefusalOfFile(folder_.Write("cut.npy", whole.substr(0, 9))), "ends within its header");
  EXPECT_EQ(RefusalOfFile(folder_.Write("cut.npy", whole.substr(0, 30))), "ends within its header");
  EXPECT_EQ(RefusalOfFile(folder_.Write("cut.npy", whole.substr(0, whole.size() - 1))),
            "holds 7 bytes of data; expected 8 for float32 [2]");
  EXPECT_EQ(RefusalOfFile(folder_.Write("long.npy", whole + "x")),
            "holds 9 bytes of data; expected 8 for float32 [2]");
}

TEST_F(Npy, RefusesAnotherOrderOrType) {
  EXPECT_EQ(RefusalOf("{'descr': '<f4', 'fortran_order': True, 'shape': (2,), }"),
            "is in column-major order; expected numpy.ascontiguousarray's");
  for (const std::string type : {">f4", "<c8", "|O", "|b1", "<u2", "", "<f4 "}) {
    EXPECT_EQ(RefusalOf("{'descr': '" + type + "', 'fortran_order': False, 'shape': (2,), }"),
              "descr is '" + type + "'; expected one of |u1, <f2, <f4, <i4, <i8, <f8");
  }
}

TEST_F(Npy, RefusesAShapeThatOverflows) {
  EXPECT_EQ(RefusalOf("{'descr': '<f4', 'fortran_order': False, 'shape': (4294967296, "
                      "4294967296), }"),
            "holds 8 bytes of data; expected more than there can be for float32 [4294967296, "
            "4294967296]");
  // 2^62 elements of 4 bytes are 2^64, which 64 bits would count as 0.
  EXPECT_EQ(
      RefusalOf("{'descr': '<f4', 'fortran_order': False, 'shape': (4611686018427387904,), }"),
      "holds 8 bytes of data; expected more than there can be for float32 "
      "[4611686018427387904]");
  EXPECT_EQ(RefusalOf("{'descr': '<f4', 'fortran_order': False, 'shape': (9223372036854775808,)}"),
            "header, character 69: expected a number of 64 bits");
}

TEST_F(Npy, RefusesAHeaderThatIsNoDictionary) {
  EXPECT_EQ(RefusalOf(""), "header, character 0: expected '{'");
  EXPECT_EQ(RefusalOf("{}"), "header, character 2: expected a key 'descr'");
  EXPECT_EQ(RefusalOf("{'descr': '<f4'"), "header, character 15: expected '}'");
  EXPECT_EQ(RefusalOf("{'descr': ['<f4']}"), "header, character 10: expected a string");
  EXPECT_EQ(RefusalOf("{'descr': '<f4"), "header, character 10: expected a string");
  EXPECT_EQ(RefusalOf("{'descr': '<f4', 'descr': '<f4'}"),
            "header, character 25: expected 'descr', 'fortran_order' and 'shape', each once");
  EXPECT_EQ(RefusalOf("{'colour': 1}"),
            "header, character 10: expected 'descr', 'fortran_order' and 'shape', each once");
  EXPECT_EQ(RefusalOf("{'fortran_order': 0}"), "header, character 18: expected True or False");
  EXPECT_EQ(RefusalOf("{'shape': (2)}"), "header, character 12: expected ','");
  EXPECT_EQ(RefusalOf("{'shape': (-2,)}"), "header, character 11: expected a dimension");
  EXPECT_EQ(RefusalOf("{'shape': (2, 3"), "header, character 15: expected ')'");
  EXPECT_EQ(RefusalOf("{'descr': '<f4', 'fortran_order': False, 'shape': (2,)} + x"),
            "header, character 56: expected nothing more");
  EXPECT_EQ(RefusalOf(std::string("{'descr': '<f4', 'fortran_order': False, 'shape': (2,)}\0", 56)),
            "header, character 55: expected nothing more");
}

TEST_F(Npy, SaysWhyAFileCannotBeWritten) {
  const NpyArray array{AIDataType::kAIUint8, {1}, {7}};
  EXPECT_EQ(test::RejectionOf<OutputError>([&] { WriteNpy("/dev/full", array); }),
            "'/dev/full' cannot be written: No space left on device");
  EXPECT_EQ(test::RejectionOf<OutputError>([&] { WriteNpy(folder_ / "no/x.npy", array); }),
            "'" + folder_ / "no/x.npy" + "' cannot be written: No such file or directory");
}

}  // namespace
}  // namespace dirty_seg

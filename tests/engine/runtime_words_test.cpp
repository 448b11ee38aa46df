// What is left of the runtime's messages.
#include "engine/runtime_words.h"

#include <gtest/gtest.h>

#include <string>

#include "common/diagnostics.h"

namespace nuvik::alg::common {
namespace {

TEST(RuntimeWords, PlaceFunctionAndConditionGo) {
  EXPECT_EQ(
      PlainWords(
          "Non-zero status code returned while running Reshape node. Name:'r' Status Message: "
          "/onnxruntime_src/onnxruntime/core/providers/cpu/tensor/reshape_helper.h:47 "
          "onnxruntime::ReshapeHelper::ReshapeHelper(const onnxruntime::TensorShape&, "
          "onnxruntime::TensorShapeVector&, bool) input_shape_size == size was false. The input "
          "tensor cannot be reshaped to the requested shape. Input shape:{1,10}, requested "
          "shape:{6,10}\n"),
      "Non-zero status code returned while running Reshape node. Name:'r' Status Message: The "
      "input "
      "tensor cannot be reshaped to the requested shape. Input shape:{1,10}, requested "
      "shape:{6,10}");
}

TEST(RuntimeWords, FunctionsOfAllKindsGo) {
  for (const std::string function : {
           "void f()",
           "virtual common::Status onnxruntime::F::Compute(onnxruntime::OpKernelContext*) const",
           "bool onnxruntime::F::operator()(int, const T&) const",
           "onnxruntime::f(int)::<lambda(int, std::function<void(int)>)>",
           "void f(T&) [with T = std::pair<int, float>]",
           "T f(T) const [with T = int[3]]",
       }) {
    EXPECT_EQ(PlainWords("a /b/c.cc:12 " + function + " d (e)."), "a d (e).") << function;
  }
}

TEST(RuntimeWords, AConditionStaysWhereNothingElseIsSaid) {
  EXPECT_EQ(PlainWords("a /b/c.cc:12 void f() x == y was false."), "a x == y was false.");
  EXPECT_EQ(PlainWords("/b/c.cc:12 void f() x == y was false. \n"), "x == y was false.");
}

TEST(RuntimeWords, SeveralPlacesGo) {
  EXPECT_EQ(PlainWords("a /b/c.h:1 void f() Too small. d e/f.cpp:23 g(int) x was false. h"),
            "a Too small. d h");
}

TEST(RuntimeWords, OtherWordsStay) {
  for (const char* text :
       {"", "a", "Unsupported model IR version: 99, max supported IR version: 13",
        "in file /data/net.onnx:12 all", "a b.cc:12 f() c", "at 12:30 (noon) it was false. So?",
        "/b/c.cc:12", "/b/c.cc: 12 f()", "/b/c.cc:12 and no function"}) {
    const std::string expected =
        std::string(text) == "/b/c.cc:12 and no function" ? "and no function" : text;
    EXPECT_EQ(PlainWords(text), expected);
  }
}

TEST(RuntimeWords, AWordBeforeThePlaceStays) {
  EXPECT_EQ(PlainWords("Load model from x failed:/o/x.cc:12 void f() m"),
            "Load model from x failed:m");
}

TEST(ErrorLine, ShowsWhatATerminalWouldActOn) {
  EXPECT_EQ(PrintableLine("a\nb\x1b[31mc\x7f"), "a b\\x1b[31mc\\x7f");
  EXPECT_EQ(PrintableLine("caf\xc3\xa9 \xc2\xb7 \xc2\x9b!"), "caf\xc3\xa9 \xc2\xb7 \\xc2\\x9b!");
}

TEST(RuntimeWords, ABracketThatIsNeverClosedTakesTheRest) {
  EXPECT_EQ(PlainWords("a /b/c.cc:12 void f(int"), "a");
}

}  // namespace
}  // namespace nuvik::alg::common

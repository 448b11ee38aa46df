// What is kept from the runtime because it would end the process, on files written byte by byte.
#include "engine/onnx_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "engine/session_error.h"
#include "support/network_files.h"
#include "support/standard_error.h"
#include "support/tiny_network.h"
#include "support/wire.h"

namespace nuvik::alg::common {
namespace {

using test::Bytes;
using test::Number;
using test::Varint;
using testing::ElementsAre;
using testing::EndsWith;

// Fields of AttributeProto, NodeProto, GraphProto, FunctionProto and ModelProto.
std::string IntegerAttribute(const std::string& name, std::int64_t value) {
  return Bytes(5, Bytes(1, name) + Number(3, static_cast<std::uint64_t>(value)));
}

std::string NodeFields(const std::string& op, const std::string& attributes = "",
                       const std::string& domain = "") {
  return Bytes(3, "n1") + Bytes(4, op) + attributes + (domain.empty() ? "" : Bytes(7, domain));
}

std::string GraphWith(const std::string& node) { return Bytes(1, node); }

std::string ModelWith(const std::string& node) { return Bytes(7, GraphWith(node)); }

std::string Function(const std::string& name, const std::string& nodes) {
  return Bytes(25, Bytes(1, name) + nodes + Bytes(10, "own"));
}

std::string Call(const std::string& name) { return NodeFields(name, "", "own"); }

std::string Repeated(int times, const std::string& bytes) {
  std::string all;
  for (int i = 0; i < times; ++i) all += bytes;
  return all;
}

// Functions f0 to f(count - 1), each of which calls the next `times` times; the last one an
// operator.
std::string Chain(int count, int times) {
  std::string functions;
  for (int i = 0; i < count; ++i) {
    const std::string node =
        Bytes(7, i + 1 < count ? Call("f" + std::to_string(i + 1)) : NodeFields("Relu"));
    functions += Function("f" + std::to_string(i), Repeated(times, node));
  }
  return functions;
}

// A node with a graph in an attribute, `levels` times.
std::string Nested(int levels, const std::string& innermost) {
  std::string node = innermost;
  for (int i = 0; i < levels; ++i) {
    node = NodeFields("If", Bytes(5, Bytes(1, "then_branch") + Bytes(6, GraphWith(node))));
  }
  return node;
}

std::string Inputs(const std::vector<std::string>& names) {
  std::string fields;
  for (const std::string& name : names) fields += Bytes(1, name);
  return fields;
}

// The function f of the inputs a and b.
std::string FunctionOfTwo(const std::string& nodes) {
  return Function("f", Bytes(4, "a") + Bytes(4, "b") + nodes);
}

// A node that makes a value of that name.
std::string Making(const std::string& name) { return NodeFields("Relu", Bytes(2, name)); }

std::string WithinABranch(const std::string& graph_fields) {
  return NodeFields("If", Bytes(5, Bytes(1, "then_branch") + Bytes(6, graph_fields)));
}

// A function of 1000 nodes, its own and 999 within.
std::string ThousandNodes() { return Function("f", Repeated(999, Bytes(7, NodeFields("Relu")))); }

// Empty when the file passes.
std::string RefusalOf(const std::string& bytes) {
  std::istringstream file(bytes);
  try {
    CheckOnnxFile(file);
  } catch (const SessionError& error) {
    return error.what();
  }
  return "";
}

std::string RefusalOfNode(const std::string& op, const std::string& attribute, std::int64_t value) {
  return RefusalOf(ModelWith(NodeFields(op, IntegerAttribute(attribute, value))));
}

TEST(OnnxFile, UsualNetworksPass) {
  for (const char* name : {"seg-b2-64", "seg-dynamic", "classifier-224", "fails-at-run"}) {
    EXPECT_EQ(RefusalOf(test::ReadFile(test::NetworkPath(name))), "") << name;
  }
}

TEST(OnnxFile, WhatIsNoNetworkIsLeftToTheRuntime) {
  for (const std::string& bytes : {std::string(), std::string("no network"), std::string(300, '\0'),
                                   std::string(300, '\xff'), Varint(7 * 8 + 2) + Varint(1000)}) {
    EXPECT_EQ(RefusalOf(bytes), "");
  }
}

TEST(OnnxFile, EveryTruncatedNetworkIsLeftToTheRuntime) {
  const std::string whole = test::Serialise(test::PassOn(test::OnnxType::kFloat, {1, 4}));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(RefusalOf(whole.substr(0, length)), "") << length;
  }
}

TEST(OnnxFile, AGroupCountHasToBeADivisor) {
  for (const char* op : {"Conv", "ConvTranspose"}) {
    EXPECT_EQ(RefusalOfNode(op, "group", 1), "");
    EXPECT_EQ(RefusalOfNode(op, "group", 65536), "");
    EXPECT_EQ(RefusalOfNode(op, "group", 0),
              std::string("node 'n1' (") + op + ") has group 0; expected 1 to 65536");
    EXPECT_EQ(RefusalOfNode(op, "group", 65537),
              std::string("node 'n1' (") + op + ") has group 65537; expected 1 to 65536");
    EXPECT_EQ(RefusalOfNode(op, "group", -1),
              std::string("node 'n1' (") + op + ") has group -1; expected 1 to 65536");
  }
}

TEST(OnnxFile, ABlockSizeHasToBeADivisor) {
  for (const char* op : {"DepthToSpace", "SpaceToDepth"}) {
    EXPECT_EQ(RefusalOfNode(op, "blocksize", 2), "");
    EXPECT_EQ(RefusalOfNode(op, "blocksize", 4294967296),
              std::string("node 'n1' (") + op + ") has blocksize 4294967296; expected 1 to 65536");
  }
}

TEST(OnnxFile, OtherAttributesAndOperatorsAreFree) {
  EXPECT_EQ(RefusalOfNode("Conv", "blocksize", 0), "");
  EXPECT_EQ(RefusalOfNode("DepthToSpace", "group", 0), "");
  EXPECT_EQ(RefusalOfNode("Softmax", "group", 0), "");
  EXPECT_EQ(RefusalOfNode("Softmax", "", 0), "");
}

TEST(OnnxFile, AnAttributeWithoutANumberIsZero) {
  const std::string attribute = Bytes(5, Bytes(1, "group"));
  EXPECT_EQ(RefusalOf(ModelWith(NodeFields("Conv", attribute))),
            "node 'n1' (Conv) has group 0; expected 1 to 65536");
}

TEST(OnnxFile, TheOrderOfFieldsDoesNotMatter) {
  const std::string attribute = Bytes(5, Number(3, 0) + Bytes(1, "group"));
  EXPECT_EQ(RefusalOf(ModelWith(attribute + Bytes(4, "Conv"))),
            "node '' (Conv) has group 0; expected 1 to 65536");
  const std::string good = Bytes(5, Number(3, 1) + Bytes(1, "group"));
  EXPECT_EQ(RefusalOf(ModelWith(NodeFields("Conv", good))), "");
  const std::string name_last =
      Bytes(4, "Conv") + IntegerAttribute("group", 0) + Bytes(3, "behind");
  EXPECT_EQ(RefusalOf(ModelWith(name_last)),
            "node 'behind' (Conv) has group 0; expected 1 to 65536");
}

TEST(OnnxFile, TheOrderOfAFunctionsFieldsDoesNotMatter) {
  const std::string refusal = "function 'f' is called more than 100 functions deep, or by itself";
  const std::string domain_first = Bytes(3, "n1") + Bytes(7, "own") + Bytes(4, "f");
  EXPECT_EQ(RefusalOf(Function("f", Bytes(7, Call("f"))) + ModelWith(domain_first)), refusal);
  const std::string name_last = Bytes(25, Bytes(10, "own") + Bytes(7, Call("f")) + Bytes(1, "f"));
  EXPECT_EQ(RefusalOf(name_last + ModelWith(Call("f"))), refusal);
}

TEST(OnnxFile, EveryAttributeIsLookedAt) {
  const std::string other = IntegerAttribute("kernel", 0);
  const std::string good = IntegerAttribute("group", 1);
  const std::string bad = IntegerAttribute("group", 0);
  for (const std::string& before : {other, good}) {
    EXPECT_EQ(RefusalOf(ModelWith(NodeFields("Conv", before + bad))),
              "node 'n1' (Conv) has group 0; expected 1 to 65536");
  }
}

TEST(OnnxFile, UnknownFieldsHideNothing) {
  const std::string node = ModelWith(NodeFields("Conv", IntegerAttribute("group", 0)));
  const std::string eight = Varint(99 * 8 + 1) + std::string(8, 'x');
  const std::string four = Varint(99 * 8 + 5) + std::string(4, 'x');
  const std::string group = Varint(99 * 8 + 3) + Number(1, 7) + Varint(99 * 8 + 4);
  for (const std::string& unknown : {eight, four, group, Number(99, 5), Bytes(99, "text")}) {
    EXPECT_EQ(RefusalOf(unknown + node), "node 'n1' (Conv) has group 0; expected 1 to 65536");
  }
}

// The kinds 6 and 7 do not exist: what follows cannot be told.
TEST(OnnxFile, AFieldOfNoKindEndsTheFile) {
  const std::string node = ModelWith(NodeFields("Conv", IntegerAttribute("group", 0)));
  EXPECT_EQ(RefusalOf(Varint(99 * 8 + 6) + node), "");
  EXPECT_EQ(RefusalOf(Varint(99 * 8 + 7) + node), "");
}

TEST(OnnxFile, AFieldWithoutANumberEndsTheFile) {
  const std::string bad = ModelWith(NodeFields("Conv", IntegerAttribute("group", 0)));
  EXPECT_NE(RefusalOf(bad), "");
  EXPECT_EQ(RefusalOf(std::string(2, '\0') + bad), "");
}

// A length that would wrap around to its own last byte, from where eight bytes and then a node
// could be read.
TEST(OnnxFile, ALengthBeyondTheFileEndsIt) {
  const std::string node = ModelWith(NodeFields("Conv", IntegerAttribute("group", 0)));
  EXPECT_EQ(RefusalOf(Varint(99 * 8 + 2) + Varint(~std::uint64_t{0}) + "12345678" + node), "");
}

TEST(OnnxFile, NothingIsReadBehindALengthBeyondTheFile) {
  const std::string bad = ModelWith(NodeFields("Conv", IntegerAttribute("group", 0)));
  EXPECT_EQ(RefusalOf(Varint(99 * 8 + 2) + Varint(1000) + bad), "");
}

// The attribute's length leads out of its node, to a name and a number that are not its own.
TEST(OnnxFile, ALengthBeyondItsMessageEndsThat) {
  const std::string outside = Bytes(1, "group") + Number(3, 0);
  const std::string node = Bytes(4, "Conv") + Varint(5 * 8 + 2) + Varint(outside.size());
  EXPECT_EQ(RefusalOf(Bytes(7, Bytes(1, node) + outside)), "");
}

// What follows the attribute would make its number 10.
TEST(OnnxFile, ANumberThatIsCutIsNotReadOnBehindItsMessage) {
  const std::string attribute = Bytes(5, Bytes(1, "group") + Varint(3 * 8));
  EXPECT_EQ(RefusalOf(ModelWith(Bytes(4, "Conv") + attribute + Bytes(1, "input"))),
            "node '' (Conv) has group 0; expected 1 to 65536");
}

TEST(OnnxFile, AFieldOfAnotherKindHoldsNothingOfTheOneBefore) {
  const std::string text_for_number =
      Bytes(5, Bytes(1, "group") + Number(20, 2) + Bytes(3, "not a number"));
  EXPECT_EQ(RefusalOf(ModelWith(NodeFields("Conv", text_for_number))),
            "node 'n1' (Conv) has group 0; expected 1 to 65536");
  const std::string node = NodeFields("Conv", IntegerAttribute("group", 0));
  EXPECT_EQ(RefusalOf(Bytes(99, GraphWith(node)) + Number(7, 1)), "");
}

TEST(OnnxFile, EveryGraphOfTheFileIsLookedAt) {
  const std::string node = NodeFields("Conv", IntegerAttribute("group", 0));
  EXPECT_EQ(RefusalOf(ModelWith(NodeFields("Relu")) + ModelWith(node)),
            "node 'n1' (Conv) has group 0; expected 1 to 65536");
}

TEST(OnnxFile, NodesOfGraphsInGraphsAreLookedAt) {
  const std::string node = NodeFields("Conv", IntegerAttribute("group", 0));
  EXPECT_EQ(RefusalOf(ModelWith(Nested(3, node))),
            "node 'n1' (Conv) has group 0; expected 1 to 65536");
  const std::string list = Bytes(5, Bytes(11, GraphWith(node)));
  EXPECT_EQ(RefusalOf(ModelWith(NodeFields("Switch", list))),
            "node 'n1' (Conv) has group 0; expected 1 to 65536");
}

TEST(OnnxFile, NodesOfFunctionsAreLookedAt) {
  const std::string node = NodeFields("Conv", IntegerAttribute("group", 0));
  EXPECT_EQ(RefusalOf(Function("f", Bytes(7, node))),
            "node 'n1' (Conv) has group 0; expected 1 to 65536");
}

// A graph is the first message, and each further one two messages deeper than its node.
TEST(OnnxFile, GraphsGoAsDeepAsTheRuntimeReads) {
  EXPECT_EQ(RefusalOf(ModelWith(Nested(33, NodeFields("Relu")))), "");
  EXPECT_EQ(RefusalOf(ModelWith(Nested(34, NodeFields("Relu")))),
            "has graphs within graphs deeper than 100 messages");
  EXPECT_EQ(RefusalOf(ModelWith(Nested(5000, NodeFields("Relu")))),
            "has graphs within graphs deeper than 100 messages");
}

// A function's node is the first message.
TEST(OnnxFile, GraphsInAFunctionGoAsDeep) {
  EXPECT_EQ(RefusalOf(Function("f", Bytes(7, Nested(33, NodeFields("Relu"))))), "");
  EXPECT_EQ(RefusalOf(Function("f", Bytes(7, Nested(34, NodeFields("Relu"))))),
            "has graphs within graphs deeper than 100 messages");
}

TEST(OnnxFile, FunctionsGoAHundredDeep) {
  EXPECT_EQ(RefusalOf(Chain(100, 1) + ModelWith(Call("f0"))), "");
  EXPECT_EQ(RefusalOf(Chain(101, 1) + ModelWith(Call("f0"))),
            "function 'f100' is called more than 100 functions deep, or by itself");
}

TEST(OnnxFile, AFunctionThatCallsItselfIsRefused) {
  EXPECT_EQ(RefusalOf(Function("f", Bytes(7, Call("f"))) + ModelWith(Call("f"))),
            "function 'f' is called more than 100 functions deep, or by itself");
}

TEST(OnnxFile, AnOperatorOfAnotherDomainIsNoCall) {
  EXPECT_EQ(RefusalOf(Function("Relu", Bytes(7, NodeFields("Relu"))) + ModelWith(Call("Relu"))),
            "");
}

// 2 to the power of 19 nodes and the functions' own are under a million, of 20 above.
TEST(OnnxFile, FunctionsStayUnderAMillionNodes) {
  EXPECT_EQ(RefusalOf(Chain(18, 2) + ModelWith(Call("f0"))), "");
  EXPECT_EQ(RefusalOf(Chain(20, 2) + ModelWith(Call("f0"))),
            "has more than 1000000 nodes once its functions are put in");
  EXPECT_EQ(RefusalOf(Chain(99, 2) + ModelWith(Call("f0"))),
            "has more than 1000000 nodes once its functions are put in");
}

TEST(OnnxFile, AMillionNodesAreTheMost) {
  const std::string calls = Repeated(1000, Bytes(1, Call("f")));
  EXPECT_EQ(RefusalOf(ThousandNodes() + Bytes(7, calls)), "");
  EXPECT_EQ(RefusalOf(ThousandNodes() + Bytes(7, calls + Bytes(1, NodeFields("Relu")))),
            "has more than 1000000 nodes once its functions are put in");
}

// 600,000 nodes, and the first byte of another field's number.
TEST(OnnxFile, AFieldThatIsCutIsNotTakenForTheOneBefore) {
  const std::string calls = Repeated(600, Bytes(1, Call("f")));
  EXPECT_EQ(RefusalOf(ThousandNodes() + Bytes(7, calls) + "\x80"), "");
}

TEST(OnnxFile, AMillionNodesAreTheMostWithoutFunctionsToo) {
  EXPECT_EQ(RefusalOf(Bytes(7, Repeated(1000001, Bytes(1, "")))),
            "has more than 1000000 nodes once its functions are put in");
}

TEST(OnnxFile, AMillionNodesAreTheMostOfAFunctionThatNobodyCalls) {
  EXPECT_EQ(RefusalOf(Function("f", Repeated(1000001, Bytes(7, "")))),
            "has more than 1000000 nodes once its functions are put in");
}

// Names whose bytes would be a refused node's, or a refused attribute's.
TEST(OnnxFile, ANameIsNoMessage) {
  const std::string attribute = IntegerAttribute("group", 0);
  const std::string overload = Bytes(8, attribute.substr(2));
  EXPECT_EQ(RefusalOf(ModelWith(NodeFields("Conv", overload))), "");
  const std::string input = Bytes(4, NodeFields("Conv", attribute));
  EXPECT_EQ(RefusalOf(Function("f", input)), "");
}

TEST(OnnxFile, ANodeIsNamedByItsNameAlone) {
  EXPECT_EQ(RefusalOf(ModelWith(NodeFields("Sum", Inputs({"x", ""}) + Bytes(2, "y")))),
            "node 'n1' (Sum) leaves out input 2; expected the name of a value");
}

TEST(OnnxFile, WhatElseANodeSaysIsSkipped) {
  EXPECT_EQ(RefusalOf(ModelWith(NodeFields("Relu", Bytes(6, "documentation")))), "");
}

TEST(OnnxFile, AFunctionDoesNotMakeItsOwnInputs) {
  const std::string refusal = "function 'f' makes its own input 'b'; expected another name for it";
  EXPECT_EQ(RefusalOf(FunctionOfTwo(Bytes(7, Making("b")))), refusal);
  EXPECT_EQ(RefusalOf(FunctionOfTwo(Bytes(7, WithinABranch(GraphWith(Making("b")))))), refusal);
  const std::string initializer = Bytes(8, "b");
  EXPECT_EQ(RefusalOf(FunctionOfTwo(Bytes(7, WithinABranch(Bytes(5, initializer))))), refusal);
  const std::string sparse = Bytes(15, Bytes(1, initializer));
  EXPECT_EQ(RefusalOf(FunctionOfTwo(Bytes(7, WithinABranch(sparse)))), refusal);
  EXPECT_EQ(RefusalOf(FunctionOfTwo(Bytes(7, Making("c")) + Bytes(5, "b"))), "");
}

TEST(OnnxFile, NamesOfValuesCountWhole) {
  const std::string begin(2000, 'x');
  const std::string input = Bytes(4, begin + "1");
  EXPECT_EQ(RefusalOf(Function("f", input + Bytes(7, Making(begin + "2")))), "");
}

TEST(OnnxFile, OtherFunctionsAndTheGraphMakeAnyName) {
  const std::string other = Function("g", Bytes(7, Making("b")));
  EXPECT_EQ(RefusalOf(FunctionOfTwo("") + other + ModelWith(Making("b"))), "");
}

TEST(OnnxFile, ACallHasAtMostItsFunctionsInputs) {
  const std::string f = FunctionOfTwo("");
  for (const std::vector<std::string>& names :
       std::vector<std::vector<std::string>>{{}, {"x"}, {"x", "x"}, {"", "x"}}) {
    EXPECT_EQ(RefusalOf(f + ModelWith(Call("f") + Inputs(names))), "") << names.size();
  }
  const std::string refusal = "node 'n1' (f) has 3 inputs; expected at most 2, as its function has";
  EXPECT_EQ(RefusalOf(f + ModelWith(Call("f") + Inputs({"x", "x", ""}))), refusal);
  const std::string within = Function("g", Bytes(7, Call("f") + Inputs({"x", "x", "x"})));
  EXPECT_EQ(RefusalOf(f + within + ModelWith(Call("g"))), refusal);
  EXPECT_EQ(RefusalOf(f + within + ModelWith(NodeFields("Relu"))), "");
  EXPECT_EQ(RefusalOf(Function("f", "") + ModelWith(Call("f") + Inputs({""}))),
            "node 'n1' (f) has 1 inputs; expected at most 0, as its function has");
}

TEST(OnnxFile, SomeOperatorsNeedEveryInput) {
  for (const char* op : {"Einsum", "LayerNormalization", "Max", "Mean", "Min", "Sum"}) {
    EXPECT_EQ(RefusalOf(ModelWith(NodeFields(op, Inputs({"x", "x"})))), "");
    EXPECT_EQ(
        RefusalOf(ModelWith(NodeFields(op, Inputs({"x", ""})))),
        std::string("node 'n1' (") + op + ") leaves out input 2; expected the name of a value");
  }
  EXPECT_EQ(RefusalOf(ModelWith(NodeFields("Sum", Inputs({"", "x"})))),
            "node 'n1' (Sum) leaves out input 1; expected the name of a value");
  EXPECT_EQ(RefusalOf(ModelWith(NodeFields("Clip", Inputs({"x", "", "x"})))), "");
}

TEST(OnnxFile, ACallGivesWhatItsFunctionNeeds) {
  const std::string f = FunctionOfTwo(Bytes(7, NodeFields("Sum", Inputs({"a", "b"}))));
  const std::string refusal = "node 'n1' (f) leaves out input 2; expected the name of a value";
  EXPECT_EQ(RefusalOf(f + ModelWith(Call("f") + Inputs({"x", "x"}))), "");
  EXPECT_EQ(RefusalOf(f + ModelWith(Call("f") + Inputs({"x", ""}))), refusal);
  EXPECT_EQ(RefusalOf(f + ModelWith(Call("f") + Inputs({"x"}))), refusal);
  EXPECT_EQ(RefusalOf(ModelWith(Call("f") + Inputs({"x"})) + f), refusal);
  const std::string clip = FunctionOfTwo(Bytes(7, NodeFields("Clip", Inputs({"a", "b"}))));
  EXPECT_EQ(RefusalOf(clip + ModelWith(Call("f") + Inputs({"x"}))), "");
}

// g hands its second input on to the first of f.
TEST(OnnxFile, ACallGivesWhatFunctionsWithinNeed) {
  const std::string f = Function("f", Bytes(4, "a") + Bytes(7, NodeFields("Sum", Inputs({"a"}))));
  const std::string g =
      Function("g", Bytes(4, "p") + Bytes(4, "q") +
                        Bytes(7, WithinABranch(GraphWith(Call("f") + Inputs({"q"})))));
  EXPECT_EQ(RefusalOf(g + f + ModelWith(Call("g") + Inputs({"", "x"}))), "");
  EXPECT_EQ(RefusalOf(g + f + ModelWith(Call("g") + Inputs({"x"}))),
            "node 'n1' (g) leaves out input 2; expected the name of a value");
}

TEST(OnnxFile, FunctionsOfOneNameAreToldApartByOverload) {
  const std::string one = Bytes(25, Bytes(1, "f") + Bytes(10, "own") + Bytes(13, "one"));
  const std::string two = Bytes(25, Bytes(1, "f") + Bytes(10, "own") + Bytes(13, "two") +
                                        Bytes(4, "a") + Bytes(7, Call("f") + Bytes(8, "one")));
  EXPECT_EQ(RefusalOf(one + two + ModelWith(Call("f") + Inputs({"x"}) + Bytes(8, "two"))), "");
  EXPECT_EQ(RefusalOf(one + two + ModelWith(Call("f") + Inputs({"x"}) + Bytes(8, "one"))),
            "node 'n1' (f) has 1 inputs; expected at most 0, as its function has");
}

// As the runtime does.
TEST(OnnxFile, OfTwoFunctionsTheLastCounts) {
  const std::string call = ModelWith(Call("f") + Inputs({"x"}));
  EXPECT_EQ(RefusalOf(Function("f", "") + FunctionOfTwo("") + call), "");
  EXPECT_EQ(RefusalOf(FunctionOfTwo("") + Function("f", "") + call),
            "node 'n1' (f) has 1 inputs; expected at most 0, as its function has");
}

TEST(OnnxFile, ALongNameIsCut) {
  const std::string node =
      Bytes(3, std::string(2000, 'x')) + Bytes(4, "Conv") + IntegerAttribute("group", 0);
  EXPECT_EQ(RefusalOf(ModelWith(node)),
            "node '" + std::string(1024, 'x') + "' (Conv) has group 0; expected 1 to 65536");
}

TEST(OnnxFile, TheEngineTellsARefusal) {
  const test::TemporaryFile file(ModelWith(NodeFields("Conv", IntegerAttribute("group", 0))));
  AIEngineConfig config;
  config.model_path = file.path();
  AIEngine engine;
  int result = 0;
  EXPECT_THAT(test::StandardErrorOf([&] { result = engine.Init(config); }),
              ElementsAre(EndsWith("': node 'n1' (Conv) has group 0; expected 1 to 65536")));
  EXPECT_LT(result, 0);
}

}  // namespace
}  // namespace nuvik::alg::common

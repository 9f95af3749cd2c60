#include "expressions/texts.h"

#include <gtest/gtest.h>

using Texts::updated;

namespace {

constexpr const char* MissingOperand = "The provided expression refers to an attribute that does not exist in the item";
constexpr const char* WrongType = "An operand in the update expression has an incorrect data type";
constexpr const char* InvalidPath = "The document path provided in the update expression is invalid for update";

TEST(Set, AssignsValuesPathsSumsAndFunctions)
{
    const char* item = R"({"n": {"N": "1"}, "l": {"L": [{"S": "a"}]}})";
    EXPECT_EQ(updated("SET x = :v, y = n", item, R"({":v": {"S": "v"}})"),
              R"({"l":{"L":[{"S":"a"}]},"n":{"N":"1"},"x":{"S":"v"},"y":{"N":"1"}})");
    EXPECT_EQ(updated("SET n = n + :v", item, R"({":v": {"N": "0.1"}})"), R"({"l":{"L":[{"S":"a"}]},"n":{"N":"1.1"}})");
    EXPECT_EQ(updated("set n = (:v) - n", item, R"({":v": {"N": "1"}})"), R"({"l":{"L":[{"S":"a"}]},"n":{"N":"0"}})");
    EXPECT_EQ(updated("SET n = if_not_exists(x, :v)+n", item, R"({":v": {"N": "5"}})"),
              R"({"l":{"L":[{"S":"a"}]},"n":{"N":"6"}})");
    EXPECT_EQ(updated("SET n = if_not_exists(n, :v)", item, R"({":v": {"N": "5"}})"),
              R"({"l":{"L":[{"S":"a"}]},"n":{"N":"1"}})");
    EXPECT_EQ(updated("SET l = list_append(:v, l)", item, R"({":v": {"L": [{"N": "5"}]}})"),
              R"({"l":{"L":[{"N":"5"},{"S":"a"}]},"n":{"N":"1"}})");
    EXPECT_EQ(updated("SET x = list_append(if_not_exists(x, :v), l)", item, R"({":v": {"L": []}})"),
              R"({"l":{"L":[{"S":"a"}]},"n":{"N":"1"},"x":{"L":[{"S":"a"}]}})");
}

TEST(Set, TakesAllOperandsFromTheItemAsItWas)
{
    EXPECT_EQ(updated("SET a = b, b = a, d = c REMOVE c", R"({"a": {"N": "1"}, "b": {"N": "2"}, "c": {"N": "3"}})"),
              R"({"a":{"N":"2"},"b":{"N":"1"},"d":{"N":"3"}})");
}

TEST(Set, AppendsAfterTheEndOfAListInTheOrderOfIndexes)
{
    EXPECT_EQ(updated("SET l[9] = :c, l[0] = :a, l[5] = :b", R"({"l": {"L": [{"N": "0"}]}})",
                      R"({":a": {"S": "a"}, ":b": {"S": "b"}, ":c": {"S": "c"}})"),
              R"({"l":{"L":[{"S":"a"},{"S":"b"},{"S":"c"}]}})");
}

TEST(Set, FailsForOperandsThatAreMissingOrOfTheWrongType)
{
    const char* item = R"({"n": {"N": "1"}, "s": {"S": "s"}})";
    EXPECT_EQ(updated("SET x = y", item), MissingOperand);
    EXPECT_EQ(updated("SET n = n + y", item), MissingOperand);
    EXPECT_EQ(updated("SET x = if_not_exists(y, z)", item), MissingOperand);
    EXPECT_EQ(updated("SET n = n + s", item), WrongType);
    EXPECT_EQ(updated("SET n = list_append(n, :l)", item, R"({":l": {"L": []}})"), WrongType);
}

TEST(Set, RefusesSumsThatAreNoNumbers)
{
    const char* most = R"({"n": {"N": "9.9999999999999999999999999999999999999e125"}})";
    EXPECT_EQ(updated("SET n = n + n", most),
              "Number overflow. Attempting to store a number with magnitude larger than supported range");
    EXPECT_EQ(updated("SET n = n + :v", R"({"n": {"N": "1e40"}})", R"({":v": {"N": "1"}})"),
              "Attempting to store more than 38 significant digits in a Number");
}

TEST(Set, NeedsTheMapOrListThatContainsThePath)
{
    const char* item = R"({"m": {"M": {}}, "l": {"L": []}, "n": {"N": "1"}})";
    const char* values = R"({":v": {"N": "1"}})";
    EXPECT_EQ(updated("SET m.a = :v", item, values), R"({"l":{"L":[]},"m":{"M":{"a":{"N":"1"}}},"n":{"N":"1"}})");
    for (const char* expression : {"SET m.a.b = :v", "SET x.a = :v", "SET x[0] = :v", "SET n.a = :v", "SET m[0] = :v",
                                   "SET l.a = :v", "SET l[0].a = :v", "ADD x.a :v", "ADD l[1].a :v"})
        EXPECT_EQ(updated(expression, item, values), InvalidPath) << expression;
    EXPECT_EQ(updated("REMOVE x.a", item), InvalidPath);
    EXPECT_EQ(updated("DELETE m.a.b :v", item, R"({":v": {"SS": ["a"]}})"), InvalidPath);
}

TEST(Set, RefusesWhatIsNestedTooDeep)
{
    std::string path = "a";
    std::string item = R"({"M": {}})";
    for (int level = 1; level < 32; ++level) {
        path += ".a";
        item = R"({"M": {"a": )" + item + "}}";
    }
    item = R"({"a": )" + item + "}";
    EXPECT_NE(updated("SET " + path + " = :v", item, R"({":v": {"N": "1"}})").find(R"("N":"1")"), std::string::npos);
    EXPECT_EQ(updated("SET " + path + " = :v", item, R"({":v": {"L": [{"L": []}]}})"),
              "One or more parameter values were invalid: Nesting Levels have exceeded supported limits: Attributes in "
              "the item have nested levels beyond supported limit");
}

TEST(Remove, TakesIndexesAsTheyWere)
{
    const char* item = R"({"l": {"L": [{"N": "0"}, {"N": "1"}, {"N": "2"}, {"N": "3"}]}, "a": {"S": "a"}})";
    EXPECT_EQ(updated("REMOVE l[0], l[2], l[7], a, b", item), R"({"l":{"L":[{"N":"1"},{"N":"3"}]}})");
    EXPECT_EQ(updated("REMOVE a, l[4] SET l[1] = :v, l[9] = :v", item, R"({":v": {"S": "v"}})"),
              R"({"l":{"L":[{"N":"0"},{"S":"v"},{"N":"2"},{"N":"3"},{"S":"v"}]}})");
}

TEST(Add, SumsNumbersAndUnitesSets)
{
    const char* item = R"({"n": {"N": "1"}, "ss": {"SS": ["a"]}, "s": {"S": "s"}})";
    EXPECT_EQ(updated("ADD n :n, x :n", item, R"({":n": {"N": "-3"}})"),
              R"({"n":{"N":"-2"},"s":{"S":"s"},"ss":{"SS":["a"]},"x":{"N":"-3"}})");
    EXPECT_EQ(updated("ADD ss :s, x :s", item, R"({":s": {"SS": ["a", "b"]}})"),
              R"({"n":{"N":"1"},"s":{"S":"s"},"ss":{"SS":["a","b"]},"x":{"SS":["a","b"]}})");
    EXPECT_EQ(updated("ADD s :n", item, R"({":n": {"N": "1"}})"), WrongType);
    EXPECT_EQ(updated("ADD n :s", item, R"({":s": {"SS": ["a"]}})"), WrongType);
    EXPECT_EQ(updated("ADD ss :s", item, R"({":s": {"NS": ["1"]}})"), WrongType);
}

TEST(Delete, RemovesASetThatBecomesEmpty)
{
    const char* item = R"({"ns": {"NS": ["1", "2"]}, "n": {"N": "1"}})";
    EXPECT_EQ(updated("DELETE ns :v", item, R"({":v": {"NS": ["2.0", "3"]}})"), R"({"n":{"N":"1"},"ns":{"NS":["1"]}})");
    EXPECT_EQ(updated("DELETE ns :v, x :v", item, R"({":v": {"NS": ["1", "2"]}})"), R"({"n":{"N":"1"}})");
    EXPECT_EQ(updated("DELETE ns :v", item, R"({":v": {"SS": ["1"]}})"), WrongType);
    EXPECT_EQ(updated("DELETE n :v", item, R"({":v": {"NS": ["1"]}})"), WrongType);
}

TEST(Update, ShowsThePlacesThatItChanges)
{
    const auto parameters = Texts::parametersOf(Expressions::RequestKind::Update,
                                                R"({"UpdateExpression": "SET m.a = :v, l[1] = :v REMOVE x ADD n :n",
            "ExpressionAttributeValues": {":v": {"S": "v"}, ":n": {"N": "1"}}})");
    const auto item = Texts::item(R"({"m": {"M": {"a": {"N": "1"}, "b": {"N": "2"}}}, "n": {"N": "1"},
        "l": {"L": [{"N": "0"}, {"N": "1"}]}, "x": {"S": "x"}, "y": {"S": "y"}})");
    const auto places = placesOf(*parameters.update);
    EXPECT_EQ(Items::jsonOf(places.partsOf(item)),
              R"({"l":{"L":[{"N":"1"}]},"m":{"M":{"a":{"N":"1"}}},"n":{"N":"1"},"x":{"S":"x"}})");
    EXPECT_EQ(keyUpdateError(*parameters.update, {"a", "b"}), "");
    EXPECT_EQ(
        keyUpdateError(*parameters.update, {"id", "m"}),
        "One or more parameter values were invalid: Cannot update attribute m. This attribute is part of the key");
}

} // namespace

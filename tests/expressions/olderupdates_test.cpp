#include "expressions/texts.h"

#include "items/itemjson.h"

#include <gtest/gtest.h>

#include <string>

using Expressions::RequestKind;

namespace {

const std::string Invalid = "One or more parameter values were invalid: ";
constexpr const char* TypeMismatch = "Type mismatch for attribute to update";

std::string request(const std::string& update)
{
    return R"({"AttributeUpdates": {"a": {)" + update + "}}}";
}

std::string updated(const std::string& update, const std::string& item)
{
    const auto parameters = Texts::parametersOf(RequestKind::Update, request(update));
    Items::Item after;
    std::string error;
    return apply(*parameters.update, Texts::item(item), &after, &error) ? Items::jsonOf(after) : error;
}

TEST(AttributeUpdates, PutAddAndDelete)
{
    EXPECT_EQ(updated(R"("Value": {"S": "x"})", R"({"b": {"N": "1"}})"), R"({"a":{"S":"x"},"b":{"N":"1"}})");
    EXPECT_EQ(updated(R"("Action": "PUT", "Value": {"S": "x"})", R"({"a": {"N": "1"}})"), R"({"a":{"S":"x"}})");
    EXPECT_EQ(updated(R"("Action": "DELETE")", R"({"a": {"N": "1"}, "b": {"N": "1"}})"), R"({"b":{"N":"1"}})");
    EXPECT_EQ(updated(R"("Action": "DELETE")", "{}"), "{}");
    EXPECT_EQ(updated(R"("Action": "ADD", "Value": {"N": "2"})", R"({"a": {"N": "1"}})"), R"({"a":{"N":"3"}})");
    EXPECT_EQ(updated(R"("Action": "ADD", "Value": {"N": "2"})", "{}"), R"({"a":{"N":"2"}})");
    EXPECT_EQ(updated(R"("Action": "ADD", "Value": {"SS": ["b"]})", R"({"a": {"SS": ["a"]}})"),
              R"({"a":{"SS":["a","b"]}})");
    EXPECT_EQ(updated(R"("Action": "ADD", "Value": {"L": [{"N": "2"}]})", R"({"a": {"L": [{"N": "1"}]}})"),
              R"({"a":{"L":[{"N":"1"},{"N":"2"}]}})");
    EXPECT_EQ(updated(R"("Action": "DELETE", "Value": {"SS": ["b"]})", R"({"a": {"SS": ["a", "b"]}})"),
              R"({"a":{"SS":["a"]}})");
    EXPECT_EQ(updated(R"("Action": "DELETE", "Value": {"SS": ["a"]})", R"({"a": {"SS": ["a"]}})"), "{}");
}

TEST(AttributeUpdates, RefusesOtherTypes)
{
    EXPECT_EQ(updated(R"("Action": "ADD", "Value": {"N": "2"})", R"({"a": {"S": "1"}})"), TypeMismatch);
    EXPECT_EQ(updated(R"("Action": "ADD", "Value": {"NS": ["2"]})", R"({"a": {"SS": ["1"]}})"), TypeMismatch);
    EXPECT_EQ(updated(R"("Action": "ADD", "Value": {"L": []})", R"({"a": {"SS": ["1"]}})"), TypeMismatch);
    EXPECT_EQ(updated(R"("Action": "DELETE", "Value": {"NS": ["2"]})", R"({"a": {"N": "2"}})"), TypeMismatch);
    const auto errorOf = [](const char* update) { return Texts::errorOf(RequestKind::Update, request(update)); };
    EXPECT_EQ(errorOf(""), Invalid + "Only DELETE action is allowed when no attribute value is specified");
    EXPECT_EQ(errorOf(R"("Action": "ADD")"),
              Invalid + "Only DELETE action is allowed when no attribute value is specified");
    EXPECT_EQ(errorOf(R"("Action": "ADD", "Value": {"S": "x"})"),
              Invalid + "ADD action is not supported for the type S");
    EXPECT_EQ(errorOf(R"("Action": "DELETE", "Value": {"N": "1"})"),
              Invalid + "DELETE action with value is not supported for the type N");
}

TEST(AttributeUpdates, TakesNamesAsTheyAre)
{
    const auto parameters =
        Texts::parametersOf(RequestKind::Update, R"({"AttributeUpdates": {"a.b[0]": {"Value": {"N": "1"}}}})");
    Items::Item after;
    std::string error;
    ASSERT_TRUE(apply(*parameters.update, {}, &after, &error));
    EXPECT_EQ(Items::jsonOf(after), R"({"a.b[0]":{"N":"1"}})");
}

TEST(AttributeUpdates, NamesAreNotEmpty)
{
    for (const char* update :
         {R"("Value": {"N": "1"})", R"("Action": "ADD", "Value": {"N": "1"})", R"("Action": "DELETE")"})
        EXPECT_EQ(Texts::errorOf(RequestKind::Update, R"({"AttributeUpdates": {"b": {"Action": "DELETE"}, "": {)" +
                                                          std::string(update) + "}}}"),
                  Invalid + "Attribute names must not be empty");
}

TEST(AttributesToGet, AreWholeAttributes)
{
    const auto parameters = Texts::parametersOf(RequestKind::Get, R"({"AttributesToGet": ["m", "x.y", "z"]})");
    EXPECT_EQ(Items::jsonOf(parameters.projection->partsOf(
                  Texts::item(R"({"m": {"M": {"a": {"N": "1"}}}, "x.y": {"S": "1"}, "x": {"S": "2"}})"))),
              R"({"m":{"M":{"a":{"N":"1"}}},"x.y":{"S":"1"}})");
    EXPECT_EQ(Texts::errorOf(RequestKind::Get, R"({"AttributesToGet": ["a", "b", "a"]})"),
              Invalid + "Duplicate value in attribute name: a");
}

} // namespace

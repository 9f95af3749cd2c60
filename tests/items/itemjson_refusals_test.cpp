#include "items/itemjson.h"

#include "itemmaker.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Items::AttributeValue;
using Items::Item;
using Items::JsonError;
using Kind = JsonError::Kind;

struct Refused {
    std::string json;
    std::string message;
};

void expectRefused(const std::vector<Refused>& all, Kind kind)
{
    for (const Refused& refused : all) {
        AttributeValue value;
        JsonError error;
        EXPECT_FALSE(Items::readValue(parsedJson(refused.json), &value, &error)) << refused.json;
        EXPECT_EQ(error.message, refused.message) << refused.json;
        EXPECT_EQ(error.kind, kind) << refused.json;

        Item item;
        JsonError inList;
        EXPECT_FALSE(Items::readItem(parsedJson(R"({"a":{"L":[{"M":{"b":)" + refused.json + "}}]}}"), &item, &inList))
            << refused.json;
        EXPECT_EQ(inList.message, refused.message) << refused.json;
        EXPECT_EQ(inList.kind, kind) << refused.json;
    }
}

TEST(ItemJsonRefusals, ValuesThatAreNoneAreInvalid)
{
    const std::string empty = "Supplied AttributeValue is empty, must contain exactly one of the supported datatypes";
    const std::string several = "Supplied AttributeValue has more than one datatypes set, must contain exactly one of "
                                "the supported datatypes";
    const std::string parameter = "One or more parameter values were invalid: ";
    const std::string noNumber = "The parameter cannot be converted to a numeric value";
    const std::string digits(39, '1');
    expectRefused(
        {
            {"{}", empty},
            {"null", empty},
            {R"({"S":null})", empty},
            {R"({"X":"1"})", empty},
            {R"({"s":"1"})", empty},
            {R"({"S":"1","N":"1"})", several},
            {R"({"S":"1","N":"x"})", noNumber + ": x"},
            {R"({"BOOL":true,"NULL":true})", several},
            {R"({"NULL":false})", parameter + "Null attribute value types must have the value of true"},
            {R"({"N":""})", noNumber},
            {R"({"N":"x"})", noNumber + ": x"},
            {R"({"N":" 1"})", noNumber + ":  1"},
            {R"({"N":")" + digits + R"("})", "Attempting to store more than 38 significant digits in a Number"},
            {R"({"N":"1e126"})",
             "Number overflow. Attempting to store a number with magnitude larger than supported range"},
            {R"({"N":"-1e-131"})",
             "Number underflow. Attempting to store a number with magnitude smaller than supported range"},
            {R"({"NS":["1","x"]})", noNumber + ": x"},
            {R"({"NS":["1",""]})", noNumber},
            {R"({"SS":[]})", parameter + "An string set  may not be empty"},
            {R"({"NS":[]})", parameter + "An number set  may not be empty"},
            {R"({"BS":[]})", parameter + "Binary sets should not be empty"},
            {R"({"SS":["a","b","a"]})", parameter + "Input collection [a, b, a] contains duplicates."},
            {R"({"SS":["",""]})", parameter + "Input collection [, ] contains duplicates."},
            {R"({"NS":["1","2","1.0"]})", "Input collection contains duplicates"},
            {R"({"BS":["Yg==","Yg=="]})", parameter + "Input collection [Yg==, Yg==]of type BS contains duplicates."},
            {R"({"SS":["a",null]})", parameter + "An string set may not have a null string as a member"},
            {R"({"NS":[null]})", parameter + "An number set may not have a null string as a member"},
            {R"({"BS":[null]})", parameter + "Binary sets may not contain null values"},
            {R"({"L":[null]})", empty},
            {R"({"M":{"a":null}})", empty},
        },
        Kind::Validation);
}

TEST(ItemJsonRefusals, ValuesOfAnotherJsonTypeAreNotRead)
{
    const std::string object = "Start of structure or map found where not expected";
    const std::string list = "Start of list found where not expected";
    expectRefused(
        {
            {R"("x")", "STRING_VALUE cannot be converted to AttributeValue"},
            {"1", "NUMBER_VALUE cannot be converted to AttributeValue"},
            {"[]", list},
            {R"({"S":1})", "NUMBER_VALUE cannot be converted to String"},
            {R"({"S":1.5})", "DECIMAL_VALUE cannot be converted to String"},
            {R"({"S":true})", "TRUE_VALUE cannot be converted to String"},
            {R"({"S":false})", "FALSE_VALUE cannot be converted to String"},
            {R"({"S":[]})", list},
            {R"({"S":{}})", object},
            {R"({"N":1})", "NUMBER_VALUE cannot be converted to String"},
            {R"({"N":{}})", object},
            {R"({"B":1})", "NUMBER_VALUE cannot be converted to Blob"},
            {R"({"BOOL":"true"})", "STRING_VALUE cannot be converted to Boolean"},
            {R"({"BOOL":1})", "NUMBER_VALUE cannot be converted to Boolean"},
            {R"({"NULL":"true"})", "STRING_VALUE cannot be converted to Boolean"},
            {R"({"M":"x"})", "STRING_VALUE cannot be converted to Map"},
            {R"({"M":[]})", list},
            {R"({"L":"x"})", "STRING_VALUE cannot be converted to List"},
            {R"({"L":{}})", object},
            {R"({"L":["x"]})", "STRING_VALUE cannot be converted to AttributeValue"},
            {R"({"SS":"x"})", "STRING_VALUE cannot be converted to List"},
            {R"({"SS":[1]})", "NUMBER_VALUE cannot be converted to String"},
            {R"({"NS":{}})", object},
            {R"({"NS":[1]})", "NUMBER_VALUE cannot be converted to String"},
            {R"({"BS":[[]]})", list},
            {R"({"B":"abc"})", R"("abc" can not be converted to a Blob: Base64 encoded length is expected a multiple )"
                               "of 4 bytes but found: 3"},
            {R"({"B":"ab@="})", R"("ab@=" can not be converted to a Blob: Invalid Base64 character: '@')"},
            {R"({"BS":["ab=="]})",
             R"("ab==" can not be converted to a Blob: Invalid last non-pad Base64 character dectected)"},
        },
        Kind::Serialization);
}

TEST(ItemJsonRefusals, AnItemIsAnObjectOfNamedAttributes)
{
    Item item;
    JsonError error;
    EXPECT_FALSE(Items::readItem(parsedJson("[]"), &item, &error));
    EXPECT_EQ(error.message, "Start of list found where not expected");
    EXPECT_EQ(error.kind, Kind::Serialization);
    EXPECT_FALSE(Items::readItem(parsedJson(R"({"":{"S":"x"}})"), &item, &error));
    EXPECT_EQ(error.message, "One or more parameter values were invalid: Attribute names must not be empty");
    EXPECT_EQ(error.kind, Kind::Validation);
}

} // namespace

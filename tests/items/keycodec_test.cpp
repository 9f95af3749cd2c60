#include "items/keycodec.h"

#include "itemmaker.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Items::AttributeValue;
namespace KeyCodec = Items::KeyCodec;
using KeyCodec::Form;

AttributeValue text(const std::string& utf8)
{
    return AttributeValue::ofString(utf8);
}

AttributeValue numberOf(const std::string& number)
{
    return AttributeValue::ofNumber(Decimal::Number::parse(number).value());
}

AttributeValue binary(const std::string& bytes)
{
    return AttributeValue::ofBinary(bytes);
}

struct Encoded {
    Form form;
    AttributeValue value;
    std::string key;
};

TEST(KeyCodec, StoresTheseBytes)
{
    const std::string nul(1, '\0');
    const std::vector<Encoded> all = {
        {Form::String, text("customer 7"), "customer 7"},
        {Form::String, text("größer ✓"), "größer ✓"},
        {Form::String, text("\t\n\x02\x7f"), "\t\n\x02\x7f"},
        {Form::String, text(nul), "\x01\x01"},
        {Form::String, text("\x01"), "\x01\x02"},
        {Form::String, text("a" + nul + "b\x01"),
         "a\x01\x01"
         "c\x02"},
        {Form::String, text(nul + "\xf4\x8f\xbf\xbf"), "\x01\x01\xf5\x90\xc0\xc0"},
        {Form::Number, numberOf("0"), "o"},
        {Form::Number, numberOf("17"), "p13117"},
        {Form::Number, numberOf("-17"), "n86882~"},
        {Form::Number, numberOf("0.5"), "p1295"},
        {Form::Number, numberOf("1e-130"), "p0001"},
        {Form::Number, numberOf("1e125"), "p2551"},
        {Form::Number, numberOf("-1e125"), "n7448~"},
        {Form::Binary, binary("Quorva"), "?4CjyK(yDR!"},
        {Form::Binary, binary(nul), "%%%%% "},
        {Form::Latin1, text("größer"),
         "gr\xf6\xdf"
         "er"},
        {Form::Latin1, text("a\x01"), "a\x01"},
    };
    for (const Encoded& encoded : all) {
        EXPECT_EQ(KeyCodec::encode(encoded.form, encoded.value), encoded.key);
        EXPECT_EQ(KeyCodec::decode(encoded.form, encoded.key), encoded.value) << encoded.key;
        EXPECT_EQ(KeyCodec::typeOf(encoded.form), encoded.value.type()) << encoded.key;
    }
}

TEST(KeyCodec, RefusesWhatIsNoKey)
{
    for (const Form form : {Form::String, Form::Number, Form::Binary, Form::Latin1}) {
        for (const AttributeValue& value :
             {text("x"), numberOf("1"), binary("x"), AttributeValue::ofNull(), AttributeValue::ofStringSet({"x"})})
            EXPECT_EQ(KeyCodec::encode(form, value).has_value(), value.type() == KeyCodec::typeOf(form));
    }
    EXPECT_EQ(KeyCodec::encode(Form::String, text("")), std::nullopt);
    EXPECT_EQ(KeyCodec::encode(Form::Binary, binary("")), std::nullopt);
    EXPECT_EQ(KeyCodec::encode(Form::Latin1, text("")), std::nullopt);
    EXPECT_EQ(KeyCodec::encode(Form::Latin1, text("✓")), std::nullopt);
    EXPECT_EQ(KeyCodec::encode(Form::Latin1, text(std::string("a\0", 2))), std::nullopt);
}

TEST(KeyCodec, ReadsOnlyWhatItWrites)
{
    const std::string nul(1, '\0');
    for (const std::string& key : {std::string(), "a" + nul, "a\x01\x03" + nul, std::string("a\x01"),
                                   std::string("\x01"), std::string("\x01\x03"), std::string("\xff"),
                                   std::string("\xc3"), std::string("\x01\x01\xff"), std::string("\x01\x01\x81")})
        EXPECT_EQ(KeyCodec::decode(Form::String, key), std::nullopt) << testing::PrintToString(key);
    for (const char* key :
         {"",         "p",      "p131",    "p1310",  "p13110",  "p131017",
          "p2561",    "p-131",  "p1 31",   "q1311",  "17",      "oo",
          "o1",       "n",      "n~",      "n86882", "n8688~2", "n8688~9~",
          "n868829~", "n7438~", "n9998~~", "n999~",  "P13117",  "p131111111111111111111111111111111111111111"})
        EXPECT_EQ(KeyCodec::decode(Form::Number, key), std::nullopt) << key;
    for (const char* key : {"", " ", "$", "%", "%% ", "%%%%%", "%%%%% %", "%%%%&!", "%%%%%%", "zzzzz$", "%%%%%%%%%% %"})
        EXPECT_EQ(KeyCodec::decode(Form::Binary, key), std::nullopt) << key;
    EXPECT_EQ(KeyCodec::decode(Form::Latin1, ""), text(""));

    ItemMaker maker(6);
    for (int i = 0; i < 30000; ++i) {
        const auto form = static_cast<Form>(maker.upTo(3));
        std::string key = KeyCodec::encode(form, form == Form::String   ? text("a" + maker.utf8(4))
                                                 : form == Form::Number ? AttributeValue::ofNumber(maker.number(4))
                                                                        : binary(maker.bytes(1 + maker.upTo(6))))
                              .value();
        key[maker.upTo(key.size())] = static_cast<char>(maker.upTo(256));
        const auto value = KeyCodec::decode(form, key);
        ASSERT_TRUE(!value || KeyCodec::encode(form, *value) == key) << key;
    }
}

TEST(KeyCodec, JsonTextHasOneCharacterForEachByte)
{
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    const std::string json = KeyCodec::jsonText(all);
    EXPECT_EQ(json.size(), 128u + 2 * 128u);
    EXPECT_EQ(KeyCodec::bytesOfJsonText(json), all);
    EXPECT_EQ(KeyCodec::jsonText("\xe4"), "ä");
    for (const char* other : {"✓", "Ā", "\xc3", "\xc3z", "\xe4", "\x80", "\xc0\x80"})
        EXPECT_EQ(KeyCodec::bytesOfJsonText(other), std::nullopt) << other;
}

TEST(KeyCodec, TheLongestKeysFitIntoARecordKey)
{
    constexpr std::size_t MostRecordKeyBytes = 4096; // the longest that a walk of the server reads
    constexpr std::size_t LengthDigits = 4;
    const auto bytes = [](std::size_t size) {
        std::size_t most = 0;
        for (const char c : {'\0', '\x01', 'a'})
            most = std::max(most, KeyCodec::encode(Form::String, text(std::string(size, c))).value().size());
        return std::max(most, KeyCodec::encode(Form::Binary, binary(std::string(size, '\xff'))).value().size());
    };
    EXPECT_LE(LengthDigits + bytes(KeyCodec::MostHashBytes) + bytes(KeyCodec::MostRangeBytes), MostRecordKeyBytes);
}

} // namespace

#include "items/keycodec.h"

#include "itemmaker.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using Items::AttributeValue;
namespace KeyCodec = Items::KeyCodec;
using KeyCodec::Form;

/** The keys of the values compare as the values do, and are read back. */
void expectOrder(Form form, const AttributeValue& a, const AttributeValue& b)
{
    const auto keyA = KeyCodec::encode(form, a);
    const auto keyB = KeyCodec::encode(form, b);
    ASSERT_TRUE(keyA && keyB);
    ASSERT_EQ(std::partial_ordering(*keyA <=> *keyB), Items::compare(a, b)) << *keyA << " " << *keyB;
    ASSERT_EQ(KeyCodec::decode(form, *keyA), a) << *keyA;
    ASSERT_EQ(keyA->find('\0'), std::string::npos);
    ASSERT_NE(static_cast<unsigned char>(keyA->front()), 0xff);
}

void expectOrders(Form form, const std::vector<AttributeValue>& values)
{
    for (const AttributeValue& a : values) {
        for (const AttributeValue& b : values)
            ASSERT_NO_FATAL_FAILURE(expectOrder(form, a, b));
    }
}

void expectOrders(Form form, int pairs, const std::function<AttributeValue()>& make)
{
    for (int i = 0; i < pairs; ++i)
        ASSERT_NO_FATAL_FAILURE(expectOrder(form, make(), make()));
}

TEST(KeyCodecOrder, OfStringsIsThatOfTheirBytes)
{
    std::vector<AttributeValue> values;
    for (int character = 0; character < 0x80; character += character < 4 ? 1 : 31) {
        const std::string text(1, static_cast<char>(character));
        for (const std::string& value : {text, "a" + text, text + "a", text + text, text + std::string(1, '\0')})
            values.push_back(AttributeValue::ofString(value));
    }
    for (const char* text :
         {"\xc2\x80", "\xdf\xbf", "\xed\x9f\xbf", "\xef\xbf\xbf", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"})
        values.push_back(AttributeValue::ofString(text));
    expectOrders(Form::String, values);

    ItemMaker maker(7);
    expectOrders(Form::String, 20000, [&] { return AttributeValue::ofString("a" + maker.utf8(5)); });
    expectOrders(Form::String, 20000,
                 [&] { return AttributeValue::ofString(maker.characters(1 + maker.upTo(6), 0, 4)); });
}

TEST(KeyCodecOrder, OfBinariesIsThatOfTheirBytes)
{
    std::vector<AttributeValue> values;
    for (int byte = 0; byte < 256; byte += byte < 4 || byte > 250 ? 1 : 13) {
        const std::string text(1, static_cast<char>(byte));
        for (const std::string& value : {text, text + text, text + text + text, std::string(4, '\0') + text})
            values.push_back(AttributeValue::ofBinary(value));
    }
    expectOrders(Form::Binary, values);

    ItemMaker maker(8);
    expectOrders(Form::Binary, 20000,
                 [&] { return AttributeValue::ofBinary(maker.characters(1 + maker.upTo(9), 254, 4)); });
    expectOrders(Form::Binary, 20000, [&] { return AttributeValue::ofBinary(maker.bytes(1 + maker.upTo(3))); });
}

TEST(KeyCodecOrder, OfNumbersIsThatOfTheirValues)
{
    std::vector<AttributeValue> values;
    for (const char* text : {"0",
                             "1",
                             "2",
                             "9",
                             "10",
                             "11",
                             "19",
                             "99",
                             "100",
                             "101",
                             "1e38",
                             "99999999999999999999999999999999999999",
                             "1.2",
                             "1.21",
                             "1.3",
                             "0.1",
                             "0.09",
                             "0.11",
                             "1e-130",
                             "1.1e-130",
                             "2e-130",
                             "1e-129",
                             "1e125",
                             "1.1e125",
                             "9.9999999999999999999999999999999999999E+125",
                             "9.9999999999999999999999999999999999998E+125"}) {
        for (const char* sign : {"", "-"})
            values.push_back(AttributeValue::ofNumber(Decimal::Number::parse(sign + std::string(text)).value()));
    }
    expectOrders(Form::Number, values);

    ItemMaker maker(9);
    for (const int digits : {2, 38})
        expectOrders(Form::Number, 20000, [&] { return AttributeValue::ofNumber(maker.number(digits)); });
    expectOrders(Form::Number, 20000, [&] {
        const std::string text = std::to_string(maker.upTo(2000)) + "e" + std::to_string(maker.upTo(4));
        return AttributeValue::ofNumber(Decimal::Number::parse((maker.upTo(2) == 0 ? "-" : "") + text).value());
    });
}

TEST(KeyCodecOrder, ThePrefixBoundsHoldThoseThatBeginWithItAlone)
{
    ItemMaker maker(10);
    const auto random = [&](Form form, std::size_t least) {
        const std::size_t length = least + maker.upTo(6);
        const std::string bytes =
            form == Form::Binary ? maker.characters(length, 254, 4) : maker.characters(length, 0, 4);
        return form == Form::Binary ? AttributeValue::ofBinary(bytes) : AttributeValue::ofString(bytes);
    };
    int inside = 0;
    for (int i = 0; i < 20000; ++i) {
        const Form form = maker.upTo(2) == 0 ? Form::String : Form::Binary;
        const AttributeValue value = random(form, 1);
        const AttributeValue prefix = random(form, 0);
        const std::string& text = form == Form::Binary ? *value.asBinary() : *value.asString();
        const std::string& start = form == Form::Binary ? *prefix.asBinary() : *prefix.asString();
        const auto key = KeyCodec::encode(form, value);
        const auto bounds = KeyCodec::prefixBounds(form, prefix);
        ASSERT_TRUE(key && bounds);
        ASSERT_EQ(bounds->low <= *key && *key <= bounds->high, text.starts_with(start));
        ASSERT_NE(*key, bounds->high);
        inside += text.starts_with(start) ? 1 : 0;
    }
    EXPECT_GT(inside, 1000);

    const auto latin = KeyCodec::prefixBounds(Form::Latin1, AttributeValue::ofString("ÿ"));
    ASSERT_TRUE(latin);
    EXPECT_EQ(latin->low, "\xff");
    for (const auto& [key, isInside] : std::vector<std::pair<std::string, bool>>{
             {"\xff", true}, {"\xff\xff", true}, {std::string(1024, '\xff'), true}, {"\xfe\xff", false}, {"z", false}})
        EXPECT_EQ(latin->low <= key && key <= latin->high, isInside);
    EXPECT_FALSE(KeyCodec::prefixBounds(Form::Latin1, AttributeValue::ofString("✓")));
    EXPECT_FALSE(KeyCodec::prefixBounds(Form::Number, AttributeValue::ofString("1")));
    EXPECT_FALSE(KeyCodec::prefixBounds(Form::String, AttributeValue::ofBinary("1")));
}

} // namespace

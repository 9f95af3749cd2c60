#include <quorva/values.h>

#include <gtest/gtest.h>

#include <limits>

using namespace Quorva;

TEST(Values, AreMapsOfOneTypedMember)
{
    EXPECT_EQ(S("größer"), (QVariantMap{{"S", "größer"}}));
    EXPECT_EQ(S(""), (QVariantMap{{"S", ""}}));
    EXPECT_EQ(N(17), (QVariantMap{{"N", "17"}}));
    EXPECT_EQ(N(0), (QVariantMap{{"N", "0"}}));
    EXPECT_EQ(N("-2.50"), (QVariantMap{{"N", "-2.50"}}));
    EXPECT_EQ(N(std::numeric_limits<qlonglong>::min()), (QVariantMap{{"N", "-9223372036854775808"}}));
    EXPECT_EQ(N(std::numeric_limits<qulonglong>::max()), (QVariantMap{{"N", "18446744073709551615"}}));
    EXPECT_EQ(SS({"a", "b"}), (QVariantMap{{"SS", QStringList{"a", "b"}}}));
    EXPECT_EQ(NS({"1", "2"}), (QVariantMap{{"NS", QStringList{"1", "2"}}}));
}

TEST(Values, AreReadByTheNameOfTheirAttribute)
{
    const Item item{{"s", S("text")},       {"n", N(17)},
                    {"fraction", N("2.5")}, {"wide", N("9223372036854775808")},
                    {"ss", SS({"a", "b"})}, {"ns", QVariantMap{{"NS", QVariantList{"1", "2"}}}},
                    {"bare", "key"},        {"foreign", QVariantMap{{"B", "AA=="}}}};
    EXPECT_EQ(text(item, "s"), "text");
    EXPECT_EQ(text(item, "n"), "17");
    EXPECT_EQ(text(item, "bare"), "key");
    for (const char* name : {"ss", "foreign", "missing"})
        EXPECT_TRUE(text(item, name).isNull()) << name;

    EXPECT_EQ(number(item, "n"), 17);
    for (const char* name : {"s", "fraction", "wide", "ns", "bare", "missing"})
        EXPECT_EQ(number(item, name), std::nullopt) << name;

    EXPECT_EQ(texts(item, "ss"), (QStringList{"a", "b"}));
    EXPECT_EQ(texts(item, "ns"), (QStringList{"1", "2"}));
    for (const char* name : {"s", "n", "bare", "missing"})
        EXPECT_EQ(texts(item, name), QStringList()) << name;
}

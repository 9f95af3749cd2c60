#include "json/jsonwriter.h"

#include "jsoncases.h"

#include "json/jsonreader.h"

#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace JsonCases;
using namespace std::string_literals;
using namespace std::string_view_literals;
using namespace Qt::StringLiterals;

TEST(JsonRoundTrip, WhatWasReadIsWrittenAndReadAgain)
{
    for (const std::vector<Case>& cases : {validTexts(), numbers()}) {
        for (const Case& row : cases) {
            QVariant value;
            ASSERT_TRUE(Json::parse(bytes(row.text), &value)) << readable(row.text);
            EXPECT_EQ(parsed(Json::serialize(value).toStdString()), row.tree) << readable(row.text);
        }
    }
}

TEST(JsonRoundTrip, EveryUnicodeCharacterSurvives)
{
    QString all;
    for (char32_t code = 0; code <= 0x10FFFF; ++code) {
        if (!QChar::isSurrogate(code))
            all += QStringView(QChar::fromUcs4(code));
    }
    ASSERT_EQ(all.size(), 0x10000 - 0x800 + 2 * 0x100000);
    const QVariantMap tree{{all, all}, {"whole", QStringList{all, all.right(1000)}}};
    QVariant value;
    ASSERT_TRUE(Json::parse(Json::serialize(tree), &value));
    const QVariantMap back = value.toMap();
    EXPECT_TRUE(back.size() == 2 && back.firstKey() == all && back.first().toString() == all);
    EXPECT_TRUE(back.value("whole").toList() == QVariantList({all, all.right(1000)}));
}

TEST(JsonRoundTrip, DoublesOfAnyBitsSurvive)
{
    std::mt19937_64 random(1);
    QVariantList list;
    while (list.size() < 50000) {
        const auto number = std::bit_cast<double>(random());
        if (std::isfinite(number))
            list.append(number);
    }
    QVariant value;
    ASSERT_TRUE(Json::parse(Json::serialize(list), &value));
    const QVariantList back = value.toList();
    ASSERT_EQ(back.size(), list.size());
    for (qsizetype i = 0; i < list.size(); ++i) {
        ASSERT_EQ(back[i].typeId(), QMetaType::Double);
        ASSERT_EQ(std::bit_cast<quint64>(back[i].toDouble()), std::bit_cast<quint64>(list[i].toDouble())) << i;
    }
}

TEST(JsonRoundTrip, IntegersAroundEveryPowerOfTwoSurvive)
{
    for (int bit = 0; bit < 64; ++bit) {
        for (int offset = -1; offset <= 1; ++offset) {
            const quint64 number = (quint64(1) << bit) + static_cast<quint64>(offset);
            const bool fits = number <= quint64(std::numeric_limits<qlonglong>::max());
            EXPECT_EQ(parsed(Json::serialize(QVariant(number)).toStdString()),
                      (fits ? "i" : "u") + std::to_string(number));
            const auto negative = static_cast<qint64>(~number + 1);
            EXPECT_EQ(parsed(Json::serialize(QVariant(negative)).toStdString()), "i" + std::to_string(negative));
        }
    }
}

/** Trees of all shapes, of the types that the reader produces. */
QVariant randomTree(std::minstd_rand& random, int depth)
{
    const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() >> 8) % limit; };
    const auto text = [&] {
        static const QString alphabet = u"aZ09 \"\\/\n\t\u0001\u00e9\u20ac\ufeff"_s;
        QString string("");
        for (unsigned i = below(12); i > 0; --i)
            string += alphabet[static_cast<qsizetype>(below(static_cast<unsigned>(alphabet.size())))];
        return below(4) == 0 ? string + u"\U0001F600"_s : string;
    };
    switch (below(depth > 0 ? 9 : 7)) {
    case 0:
        return QVariant();
    case 1:
        return below(2) == 0;
    case 2:
        return qlonglong(random()) * qlonglong(random()) * (below(2) == 0 ? 1 : -1);
    case 3:
        return std::numeric_limits<qulonglong>::max() - random();
    case 4:
        return double(random()) / double(below(1000) + 1);
    case 5:
    case 6:
        return text();
    case 7: {
        QVariantList list;
        for (unsigned i = below(6); i > 0; --i)
            list.append(randomTree(random, depth - 1));
        return list;
    }
    default: {
        QVariantMap map;
        for (unsigned i = below(6); i > 0; --i)
            map.insert(text(), randomTree(random, depth - 1));
        return map;
    }
    }
}

TEST(JsonRoundTrip, TreesOfAllShapesSurvive)
{
    std::minstd_rand random(1);
    for (int i = 0; i < 3000; ++i) {
        const QVariant tree = randomTree(random, 6);
        const QByteArray text = Json::serialize(tree);
        ASSERT_EQ(parsed(text.toStdString()), describe(tree)) << text.toStdString();
    }
}

TEST(JsonRoundTrip, TreesAtTheDepthLimitSurvive)
{
    const QByteArray deep = bytes(nested("[{\"a\":", "1.5", "}]", Json::MaxDepth / 2));
    QVariant value;
    ASSERT_TRUE(Json::parse(deep, &value));
    // Replies add a few levels to what was read.
    for (int i = 0; i < 10; ++i)
        value = QVariantList{value};
    EXPECT_EQ(Json::serialize(value).toStdString(), "[[[[[[[[[[" + deep.toStdString() + "]]]]]]]]]]");
}

/** Strings are processed in blocks; a special character may be anywhere in one, or after the last. */
TEST(JsonRoundTrip, SpecialCharactersSurviveAtEveryPlaceOfABlock)
{
    const std::pair<QString, QByteArray> specials[] = {
        {"\"", R"(\")"},
        {"\\", R"(\\)"},
        {"\n", R"(\n)"},
        {QString(QChar(0)), R"(\u0000)"},
        {QString(QChar(0x1f)), R"(\u001F)"},
        {QString(QChar(0x7f)), "\x7f"},
        {QString(QChar(0x80)), "\xc2\x80"},
        {QString(QChar(0xff)), "\xc3\xbf"},
        {QString(QChar(0x100)), "\xc4\x80"},
        {QString(QChar(0x2041)), "\xe2\x81\x81"},
        {QString(QChar(0x8041)), "\xe8\x81\x81"},
        {QString(QChar(0xff41)), "\xef\xbd\x81"},
        {QString::fromUcs4(U"\U0001f600"), "\xf0\x9f\x98\x80"},
    };
    for (const auto& [character, written] : specials) {
        for (int length = 0; length < 50; ++length) {
            for (int place = 0; place <= length; ++place) {
                const QString text = QString(place, 'x') + character + QString(length - place, 'y');
                const QByteArray json = '"' + QByteArray(place, 'x') + written + QByteArray(length - place, 'y') + '"';
                ASSERT_EQ(Json::serialize(text), json) << length << ' ' << place;
                QVariant read;
                ASSERT_TRUE(Json::parse(QByteArray(place, ' ') + json, &read)) << length << ' ' << place;
                ASSERT_EQ(read, QVariant(text)) << length << ' ' << place;
            }
        }
    }
}

TEST(JsonThreads, ReadAndWriteConcurrently)
{
    QVariant tree;
    ASSERT_TRUE(Json::parse(R"({"a":[1,2.5,"x\n",null,{"b":18446744073709551615}],"c":"\u20ac"})", &tree));
    const QByteArray text = Json::serialize(tree);
    std::array<int, 4> good{};
    std::vector<std::thread> threads;
    for (int& count : good) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                QVariant back;
                count += Json::parse(text, &back) && back == tree && Json::serialize(tree) == text;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(good, (std::array{500, 500, 500, 500}));
}

} // namespace

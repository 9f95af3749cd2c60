/* The cost of a text is linear in its length, whatever it contains: a short message cannot keep a processor busy. */
#include "json/byteappender.h"
#include "json/canonicaltext.h"
#include "json/jsonmembers.h"
#include "json/jsonreader.h"
#include "json/jsontext.h"
#include "json/jsonwriter.h"

#include "support/growth.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QVariant>

#include <functional>
#include <string>
#include <vector>

namespace {

constexpr int Length = 20'000; // of the shorter text; the longer one is eight times as long

QByteArray repeated(const QByteArray& text, int length)
{
    return text.repeated(length / text.size());
}

struct Family {
    const char* name;
    std::function<QByteArray(int length)> text;
};

void PrintTo(const Family& family, std::ostream* out)
{
    *out << family.name;
}

QByteArray manyMembers(int length)
{
    QByteArray text = "{";
    for (int n = 0; text.size() < length; ++n)
        text += (n == 0 ? "\"m" : ",\"m") + QByteArray::number(1'000'000 + n) + "\":1";
    return text + '}';
}

const Family Families[] = {
    {"ZerosBehindANumberThatIsTooLarge", [](int n) { return "[1e400," + repeated("0", n) + ']'; }},
    {"DigitsAndAPointBehindANumberThatIsTooLarge", [](int n) { return "[1e400," + repeated("7", n) + ".]"; }},
    {"DigitsAndAnExponentBehindANumberThatIsTooLarge", [](int n) { return "[1e400," + repeated("7", n) + "e]"; }},
    {"SignsBehindANumberThatIsTooLarge", [](int n) { return "[1e400," + repeated("-", n) + ']'; }},
    {"ExponentsBehindANumberThatIsTooLarge", [](int n) { return "[1e400" + repeated("e1", n) + ']'; }},
    {"PointsBehindANumberThatIsTooLarge", [](int n) { return "[1e400" + repeated(".1", n) + ']'; }},
    {"NumbersThatAreRewritten", [](int n) { return "[0e400" + repeated(",0e400", n) + ']'; }},
    {"ALongNumberThatIsRewritten", [](int n) { return '[' + repeated("1", n) + 'e' + QByteArray::number(-n) + ']'; }},
    {"ALongFraction", [](int n) { return "[0." + repeated("3", n) + ']'; }},
    {"ALongFractionOfZeros", [](int n) { return "[0." + repeated("0", n) + "1]"; }},
    {"ALongExponent", [](int n) { return "[1e-" + repeated("9", n) + ']'; }},
    {"ALongInteger", [](int n) { return '[' + repeated("9", n) + ']'; }},
    {"QuotesInAStringBehindANumberThatIsRewritten", [](int n) { return "[0e400,\"" + repeated("\\\"", n) + "\"]"; }},
    {"StringsThatAreNotEnded", [](int n) { return "[0e400,\"" + repeated("\\\\", n); }},
    {"ShortEscapes", [](int n) { return '"' + repeated("\\n", n) + '"'; }},
    {"CodeEscapes", [](int n) { return '"' + repeated("\\u0001", n) + '"'; }},
    {"SurrogatePairs", [](int n) { return '"' + repeated("\\ud83d\\ude00", n) + '"'; }},
    {"HalvesOfPairs", [](int n) { return '"' + repeated("\\ud83d", n) + '"'; }},
    {"BrokenUtf8", [](int n) { return '"' + repeated("\xff", n) + '"'; }},
    {"ManyBrokenStrings", [](int n) { return '[' + repeated("\"\xff\",", n) + "1]"; }},
    {"OtherCharacters", [](int n) { return '"' + repeated("\xc3\xa9", n) + '"'; }},
    {"Blanks", [](int n) { return repeated(" \t\r\n", n) + "[1" + repeated(" ", n) + ']'; }},
    {"BlanksAroundColons", [](int n) { return "{\"a\"" + repeated(" ", n) + ':' + repeated(" ", n) + "1}"; }},
    {"ArraysSideBySide", [](int n) { return '[' + repeated("[],", n) + "[]]"; }},
    {"ArraysInsideEachOther", [](int n) { return repeated("[", n) + repeated("]", n); }},
    {"ObjectsInsideEachOther", [](int n) { return repeated("{\"a\":", n) + '1' + repeated("}", n); }},
    {"DeepOnesSideBySide",
     [](int n) {
         return '[' + repeated(QByteArray("[").repeated(900) + QByteArray("]").repeated(900) + ',', n) + "1]";
     }},
    {"ALongName", [](int n) { return "{\"" + repeated("n", n) + "\":1}"; }},
    {"ALongNameInEveryMember",
     [](int n) {
         QByteArray text = "{";
         for (int member = 0; text.size() < n; ++member)
             text += (member == 0 ? "\"" : ",\"") + QByteArray("n").repeated(100) +
                     QByteArray::number(100'000 + member) + "\":1";
         return text + '}';
     }},
    {"OneNameAgainAndAgain", [](int n) { return '{' + repeated("\"a\":1,", n) + "\"a\":2}"; }},
    {"ManyMembers", manyMembers},
    {"EmptyStrings", [](int n) { return '[' + repeated("\"\",", n) + "\"\"]"; }},
    {"Words", [](int n) { return '[' + repeated("true,false,null,", n) + "true]"; }},
};

class JsonGrowth : public testing::TestWithParam<Family> {};

TEST_P(JsonGrowth, ReadingIsLinear)
{
    EXPECT_TRUE(growsLinearly(Length, [](int n) {
        QVariant value;
        (void)Json::parse(GetParam().text(n), &value); // many of the texts are not JSON
    }));
}

TEST_P(JsonGrowth, WritingIsLinear)
{
    EXPECT_TRUE(growsLinearly(Length, [](int n) {
        QVariant value;
        if (!Json::parse(GetParam().text(n), &value))
            value = QString::fromLatin1(GetParam().text(n)); // as any text, it can be written as a string
        (void)Json::serialize(value);
    }));
}

TEST_P(JsonGrowth, TakingApartIsLinear)
{
    EXPECT_TRUE(growsLinearly(Length, [](int n) {
        std::vector<Json::MemberText> texts;
        (void)Json::splitObject(GetParam().text(n), &texts);
        std::vector<Json::Member> members;
        (void)Json::findMembers(GetParam().text(n), &members);
        (void)Json::findMembers("{\"a\":" + GetParam().text(n) + '}', &members);
    }));
}

INSTANTIATE_TEST_SUITE_P(Texts, JsonGrowth, testing::ValuesIn(Families),
                         [](const auto& family) { return std::string(family.param.name); });

TEST(ByteAppender, ManyPiecesAreLinear)
{
    EXPECT_TRUE(growsLinearly(10 * Length, [](int n) {
        Json::ByteAppender out({});
        for (int i = 0; i < n; ++i)
            out.put('x');
        EXPECT_EQ(out.take().size(), n);
    }));
}

TEST(JsonAppend, ManyValuesInARowAreLinear)
{
    EXPECT_TRUE(growsLinearly(Length, [](int n) {
        QByteArray text;
        for (int i = 0; i < n; i += 10)
            Json::append(QVariant(1234567890), &text);
    }));
}

TEST(TextWriter, ManyTextsInARowAreLinear)
{
    EXPECT_TRUE(growsLinearly(Length, [](int n) {
        QByteArray text;
        for (int i = 0; i < n; i += 10) {
            Json::beginElement(&text);
            Json::TextWriter writer(std::move(text), 1);
            writer.putLatin1("1234567");
            text = writer.take();
        }
    }));
}

} // namespace

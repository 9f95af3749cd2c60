#include "storedenvironment.h"
#include "support/tablefixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** The size of the largest stored text that can be read back. */
constexpr qsizetype LargestStored = 0x80000;

/** Attributes whose stored text has `size` bytes. */
QVariantMap attributesOfSize(qsizetype size)
{
    const qsizetype around = Json::serialize(QVariantMap{{"a", textValue("")}}).size();
    return {{"a", textValue(QString(size - around, 'x'))}};
}

class RoundTrip : public TableTest {
protected:
    void SetUp() override
    {
        TableTest::SetUp();
        createTable(tableName());
    }
    static QVariantMap found(const QVariantMap& attributes) { return okReply({{"Item", attributes}}); }
    static QVariantMap answer(const QVariantMap& attributes) { return okReply({{"Attributes", attributes}}); }

    /** Every way to read an item. */
    void expectSurvives(const QVariantMap& attributes)
    {
        EXPECT_EQ(put("k", "1", attributes), answer(attributes));
        EXPECT_EQ(get("k", "1"), found(attributes));
        EXPECT_EQ(update("k", "1", {}, {{"ReturnValues", "ALL_NEW"}}),
                  answer(merged(attributes, {{"h", "k"}, {"r", "1"}})));
        EXPECT_EQ(remove("k", "1", {{"ReturnValues", "ALL_OLD"}}), answer(attributes));
        EXPECT_EQ(get("k", "1"), okReply());
    }
};

TEST_F(RoundTrip, EveryCharacterInValues)
{
    QString text;
    for (char32_t c = 0; c <= 0x10ffff; c += c < 0x10000 ? 1 : 0x101) {
        if (c == 0xd800)
            c = 0xe000;
        text += QString::fromUcs4(&c, 1);
        if (text.size() >= 8000) {
            expectSurvives({{"a", textValue(text)}, {"b", QVariantMap{{"SS", QVariantList{text, "", text}}}}});
            text.clear();
        }
    }
    expectSurvives({{"a", textValue(text)}});
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(RoundTrip, AnyAttributeName)
{
    for (const QString& name : {QString(), QString(" "), QString("a.b"), QString("__rc"), QString("S"),
                                QString::fromLatin1("\0", 1), QString::fromLatin1("x\0y", 3),
                                QString::fromUcs4(U"\u00e4\u20ac\U0001F600\U0010FFFF"), QString(2000, QChar(0x4e2d))})
        expectSurvives({{name, textValue("x")}});
}

TEST_F(RoundTrip, EveryTypeOfValue)
{
    expectSurvives({{"b", QVariantMap{{"B", "AAECAwQ="}}},
                    {"bs", QVariantMap{{"BS", QVariantList{"AA==", "", "/+8="}}}},
                    {"n", numberValue("5")},
                    {"ns", QVariantMap{{"NS", QVariantList{"1", "-2", "1"}}}},
                    {"s", textValue("text")},
                    {"ss", QVariantMap{{"SS", QVariantList{"p", "q", "p", ""}}}},
                    {"empty set", QVariantMap{{"SS", QVariantList{}}}}});
}

TEST_F(RoundTrip, NumbersKeepTheirText)
{
    for (const char* number : {"0", "-0", "007", "1.10", "1e400", "-1E-999", "+5", " 5 ", "", "NaN", "0x10",
                               "12345678901234567890123456789012345678", "9223372036854775808", "abc"})
        expectSurvives({{"n", numberValue(number)}});
}

TEST_F(RoundTrip, OddValuesStayAsTheyCame)
{
    const QVariantMap odd{{"bool", QVariantMap{{"S", true}}},
                          {"double", QVariantMap{{"N", 0.1}}},
                          {"list", QVariantList{1LL, QVariantList{}, QVariantMap{{"x", QVariant()}}}},
                          {"max", std::numeric_limits<qlonglong>::max()},
                          {"min", QVariantMap{{"N", std::numeric_limits<qlonglong>::min()}}},
                          {"null", QVariant()},
                          {"several", QVariantMap{{"N", "1"}, {"S", "x"}, {"other", QVariantMap{}}}},
                          {"text", "bare"},
                          {"unsigned", std::numeric_limits<qulonglong>::max()}};
    expectSurvives(odd);
}

TEST_F(RoundTrip, EveryLatin1CharacterInKeys)
{
    // Few hash keys, as each may open a file; every character is in one of them, and is also a range key by itself.
    constexpr int CharactersPerHash = 32;
    const auto hashOf = [](int c) {
        QString hash;
        for (int i = 0; i < CharactersPerHash; ++i)
            hash += QChar(c / CharactersPerHash * CharactersPerHash + i);
        return hash;
    };
    for (int c = 0; c <= 0xff; ++c) {
        const QVariantMap attributes{{"c", numberValue(QString::number(c))}};
        EXPECT_EQ(put(hashOf(c), QChar(c), attributes), answer(attributes));
    }
    for (int c = 0; c <= 0xff; ++c) {
        const QVariantMap attributes{{"c", numberValue(QString::number(c))}};
        EXPECT_EQ(get(hashOf(c), QChar(c)), found(attributes)) << c;
        EXPECT_EQ(update(hashOf(c), QChar(c), {}, {{"ReturnValues", "ALL_OLD"}}),
                  answer(merged(attributes, {{"h", hashOf(c)}, {"r", QString(QChar(c))}})))
            << c;
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(RoundTrip, KeysThatShareTheirTextAreDifferent)
{
    const std::vector<std::pair<QString, QString>> keys{{"ab", "c"},
                                                        {"abc", ""},
                                                        {"a", "bc"},
                                                        {"", "abc"},
                                                        {"", ""},
                                                        {"0002ab", "c"},
                                                        {QString::fromLatin1("a\0", 2), "bc"}};
    int number = 0;
    for (const auto& [hash, range] : keys)
        put(hash, range, {{"n", numberValue(QString::number(++number))}});
    number = 0;
    for (const auto& [hash, range] : keys)
        EXPECT_EQ(get(hash, range), found({{"n", numberValue(QString::number(++number))}})) << number;
}

TEST_F(RoundTrip, KeysOfHundredsOfKilobytes)
{
    for (const qsizetype size : {qsizetype(9999), qsizetype(10000), qsizetype(100000), qsizetype(400000)}) {
        const QString longKey(size, 'k');
        const QVariantMap attributes{{"a", textValue("x")}};
        for (const auto& [hash, range] :
             {std::pair(longKey, QString("1")), std::pair(QString("k"), longKey), std::pair(longKey, longKey)}) {
            EXPECT_EQ(put(hash, range, attributes), answer(attributes)) << size;
            EXPECT_EQ(get(hash, range), found(attributes)) << size;
            EXPECT_EQ(get(hash, range + "x"), okReply()) << size;
            EXPECT_EQ(update(hash, range, {}, {{"ReturnValues", "ALL_NEW"}}),
                      answer(merged(attributes, {{"h", hash}, {"r", range}})))
                << size;
            EXPECT_EQ(remove(hash, range, {{"ReturnValues", "ALL_OLD"}}), answer(attributes)) << size;
            EXPECT_EQ(get(hash, range), okReply()) << size;
        }
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(RoundTrip, ItemsUpTo512KiB)
{
    for (const qsizetype size :
         {qsizetype(4095), qsizetype(4096), qsizetype(4097), qsizetype(5000), LargestStored - 1, LargestStored})
        expectSurvives(attributesOfSize(size));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(RoundTrip, LargerItemsCanBeWrittenButNotRead)
{
    const QVariantMap large = attributesOfSize(LargestStored + 1);
    const std::string key = "0001k1";
    const std::string failed = std::to_string(DB_BUFFER_SMALL);
    // The key buffer has 4096 bytes, the data buffer 524288; the size is what would have been needed.
    const std::string sizes = " key ulen 4096 size 6 data ulen 524288 size 524289";
    EXPECT_EQ(put("k", "1", large), answer(large));
    EXPECT_THAT(takeComplaints(), IsEmpty());

    EXPECT_EQ(get("k", "1"), internalErrorReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # dbindex get failed for " + key + " rc " + failed,
                                              composeError(DB_BUFFER_SMALL)));
    EXPECT_EQ(put("k", "1", {}, {{"ReturnValues", "ALL_OLD"}}), internalErrorReply());
    EXPECT_THAT(takeComplaints(),
                ElementsAre("[ERROR] bdbrequest # putDb get failed for " + key + sizes, composeError(DB_BUFFER_SMALL)));
    EXPECT_EQ(remove("k", "1", {{"ReturnValues", "ALL_OLD"}}), internalErrorReply({{"Attributes", QVariantMap()}}));
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # deleteDb get failed for " + key + sizes,
                                              composeError(DB_BUFFER_SMALL)));
    EXPECT_EQ(update("k", "1", {}), internalErrorReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # updateDb get failed for " + key +
                                                  " key ulen 4096 key size 6 data ulen 524288 data size 524289",
                                              composeError(DB_BUFFER_SMALL)));

    EXPECT_EQ(remove("k", "1"), okReply());
    EXPECT_EQ(get("k", "1"), okReply());
}

TEST_F(RoundTrip, SumsAndKeysAreStoredAsTheirTextAlone)
{
    put("abc", "1", {{"n", numberValue("40")}, {"s", textValue("ab")}});
    EXPECT_EQ(update("abc", "1",
                     {{"n", QVariantMap{{"Action", "ADD"}, {"Value", numberValue("2")}}},
                      {"s", QVariantMap{{"Action", "ADD"}, {"Value", textValue("xy")}}}}),
              okReply());
    killServer();
    EXPECT_EQ(StoredEnvironment(home()).records("t_98.db", "data"),
              (std::map<QByteArray, QByteArray>{{"0003abc1", R"({"n":{"N":"42"},"s":{"S":"abxy"}})"}}));
}

} // namespace

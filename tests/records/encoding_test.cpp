#include "records/encoding.h"

#include "records/items.h"
#include "records/recordlines.h"
#include "records/requeststatus.h"
#include "records/tablecontext.h"

#include <QCryptographicHash>

#include <gtest/gtest.h>

#include <set>
#include <utility>

namespace {

TEST(FilePart, IsWhatFollowsTheLastBarElseTheLastSeparatorElseAll)
{
    const std::pair<QByteArray, QByteArray> cases[] = {
        {R"(D:\store\env1|orders)", "orders"},
        {"/store/env1|orders", "orders"},
        {"a|b|c", "c"},
        {"a||c", "c"},
        {"dir|", ""},
        {"|t", "t"},
        {"|", ""},
        {"dir|sub/t", "sub/t"}, // a separator after the bar is part of the name
        {R"(dir|sub\t)", R"(sub\t)"},
        {R"(D:\store\orders)", "orders"},
        {"/store/env1/orders", "orders"},
        {R"(/store\mixed/orders)", "orders"},
        {R"(/store/mixed\orders)", "orders"},
        {"/store/", ""},
        {R"(D:\store\)", ""},
        {"orders", "orders"},
        {"", ""},
        {"dir|na\xc3\xafve", "na\xc3\xafve"},
    };
    for (const auto& [tableName, expected] : cases)
        EXPECT_EQ(Records::filePart(tableName), expected) << tableName.toStdString();
}

TEST(DataFileName, AppendsThePartitionInTwoLowerCaseDigits)
{
    EXPECT_EQ(Records::dataFileName(R"(D:\store\env1|orders)", 0x3f), R"(D:\store\env1|orders_3f.db)");
    EXPECT_EQ(Records::dataFileName("d|t", 0), "d|t_00.db");
    EXPECT_EQ(Records::dataFileName("d|t", 0x0a), "d|t_0a.db");
    EXPECT_EQ(Records::dataFileName("d|t", 0xff), "d|t_ff.db");
    EXPECT_EQ(Records::dataFileName("", 1), "_01.db");
    EXPECT_EQ(Records::filePart(Records::dataFileName(R"(D:\store\env1|orders)", 0x3f)), "orders_3f.db");
}

TEST(DataFileName, TakesATableNameOfAnyLengthAsItIs)
{
    const QByteArray name(5000, 'x');
    EXPECT_EQ(Records::dataFileName(name + "%s%n", 0xab), name + "%s%n_ab.db");
}

TEST(DataFileName, GivesEachPartitionAFileOfItsOwn)
{
    std::set<QByteArray> names;
    for (unsigned partition = 0; partition < PartitionCount; ++partition)
        names.insert(Records::dataFileName("d|t", partition));
    EXPECT_EQ(names.size(), 256u);
}

TEST(PartitionOf, IsByteThreeOfTheMd5Digest)
{
    QByteArrayList keys{
        "", "a", "abc", "tableschema", QByteArray("\0", 1), QByteArray("\xff\x80\x00z", 4), QByteArray(10000, 'k')};
    for (int i = 0; i < 2000; ++i)
        keys << "customer-" + QByteArray::number(i * 7919);
    for (const QByteArray& key : keys) {
        const QByteArray digest = QCryptographicHash::hash(key, QCryptographicHash::Md5);
        const auto byte = static_cast<unsigned char>(digest[3]);
        EXPECT_EQ(Records::partitionOf(key, 256), byte) << key.left(40).toStdString();
        EXPECT_EQ(Records::partitionOf(key, 16), byte & 15u) << key.left(40).toStdString();
        EXPECT_EQ(Records::partitionOf(key, 1), 0u) << key.left(40).toStdString();
    }
}

TEST(PartitionOf, AnEmptyKeyHasAPartition)
{
    EXPECT_EQ(Records::partitionOf(QByteArray(), PartitionCount), 0xd9u); // MD5 of the empty string: d41d8cd9...
    EXPECT_EQ(Records::partitionOf("abc", PartitionCount), 0x98u);        // 90015098...
}

TEST(PartitionOf, ReachesEveryPartition)
{
    std::set<unsigned> seen;
    for (int i = 0; i < 10000; ++i)
        seen.insert(Records::partitionOf(QByteArray::number(i), PartitionCount));
    EXPECT_EQ(seen.size(), 256u);
    EXPECT_LT(*seen.rbegin(), PartitionCount);
}

TEST(RecordKey, IsTheLengthOfTheHashKeyThenBothKeys)
{
    struct Case {
        QByteArray hash, range, key;
    };
    const Case cases[] = {
        {"abc", "2012-01", "0003abc2012-01"},
        {"tableschema", "", "0011tableschema"},
        {"", "", "0000"},
        {"", "r", "0000r"},
        {"ab", "c", "0002abc"},
        {"abc", "", "0003abc"},
        {QByteArray("a\0b", 3), QByteArray("\0", 1), QByteArray("0003a\0b\0", 8)},
        {"\xe9\xff", "\x80", "0002\xe9\xff\x80"},
        {QByteArray(123, 'h'), "r", "0123" + QByteArray(123, 'h') + "r"},
        {QByteArray(9999, 'h'), "r", "9999" + QByteArray(9999, 'h') + "r"},
        {"h", QByteArray(20000, 'r'), "0001h" + QByteArray(20000, 'r')},
    };
    for (const Case& c : cases) {
        const QByteArray key = Records::recordKey(c.hash, c.range);
        EXPECT_EQ(key, c.key);
        QByteArrayView hash, range;
        ASSERT_TRUE(Records::decodeRecordKey(key, &hash, &range));
        EXPECT_EQ(hash.toByteArray(), c.hash);
        EXPECT_EQ(range.toByteArray(), c.range);
    }
}

TEST(RecordKey, FiveDigitLengthReadsBackWrong)
{
    const QByteArray hash(10000, 'h');
    const QByteArray key = Records::recordKey(hash, "range");
    EXPECT_EQ(key, "10000" + hash + "range");

    QByteArrayView readHash, readRange;
    ASSERT_TRUE(Records::decodeRecordKey(key, &readHash, &readRange));
    EXPECT_EQ(readHash.toByteArray(), "0" + QByteArray(999, 'h')); // "1000"; the fifth digit became text
    EXPECT_EQ(readRange.toByteArray(), QByteArray(9001, 'h') + "range");
}

TEST(RecordKey, KeysOfOneHashKeyAreOneRun)
{
    // In Berkeley DB's order, no record of another hash key comes between two of the same.
    std::set<std::pair<QByteArray, QByteArray>> ordered; // record key, hash key
    for (const QByteArray hash : {"a", "ab", "abc", "b", "", "0003abc"})
        for (const QByteArray range : {"", "a", "b", "c", "\xff"})
            ordered.insert({Records::recordKey(hash, range), hash});
    ASSERT_EQ(ordered.size(), 30u);
    QByteArrayList runs;
    for (const auto& [key, hash] : ordered)
        if (runs.isEmpty() || runs.last() != hash)
            runs << hash;
    EXPECT_EQ(runs.size(), 6);
}

TEST(RecordKey, WithoutALeadingNumberIsNotDecoded)
{
    for (const QByteArray& key : {QByteArray(), QByteArray("abcd"), QByteArray("00x3abc"), QByteArray("-001a"),
                                  QByteArray("\0\0\0\0", 4), QByteArray("1.23abc")}) {
        QByteArrayView hash, range;
        EXPECT_FALSE(Records::decodeRecordKey(key, &hash, &range)) << key.toPercentEncoding().toStdString();
    }
}

TEST(RecordKey, LongerThanItsKeysClaimIsCutAtTheEnd)
{
    QByteArrayView hash, range;
    ASSERT_TRUE(Records::decodeRecordKey("0009abc", &hash, &range));
    EXPECT_EQ(hash.toByteArray(), "abc");
    EXPECT_EQ(range.toByteArray(), "");
}

TEST(KeyBytes, AreTheLatin1BytesOfTheText)
{
    const std::pair<QVariant, QByteArray> cases[] = {
        {QString("plain"), "plain"},
        {QString(), ""},
        {QString::fromLatin1("\xe9\x80\xff"), "\xe9\x80\xff"},
        {QString::fromLatin1("a\0b", 3), QByteArray("a\0b", 3)},
        {QVariant(), ""},
        {QVariant(qlonglong(-5)), "-5"},
        {QVariant(true), "true"},
        {QVariant(QVariantMap{{"x", 1}}), ""},
    };
    for (const auto& [value, expected] : cases) {
        const LogCapture log;
        QByteArray bytes = "before";
        EXPECT_EQ(Records::keyBytes(value, &bytes), StatusSuccess);
        EXPECT_EQ(bytes, expected);
        EXPECT_EQ(recordLines(log), Lines());
    }
}

TEST(KeyBytes, RefuseACharacterThatLatin1Lacks)
{
    for (const QString& text : {QStringLiteral(u"\u0100"), QStringLiteral(u"abc\u20ac"), QStringLiteral(u"\u4e2dx"),
                                QString::fromUcs4(U"\U0001f600")}) {
        const LogCapture log;
        QByteArray bytes = "before";
        EXPECT_EQ(Records::keyBytes(text, &bytes), StatusInvalidRequest);
        EXPECT_EQ(bytes, "before");
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # key holds a character outside Latin-1"}));
    }
}

} // namespace

// Appending to existing bytes.
#include "json/jsonwriter.h"

#include "json/jsontext.h"

#include <QByteArray>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <utility>

namespace {

TEST(JsonAppend, KeepsTheBytesBefore)
{
    // Prefixes and texts just below and above the initial capacity.
    for (const qsizetype prefix : {0, 1, 4, 100, 511, 512, 513, 5000}) {
        for (const qsizetype length : {0, 1, 505, 508, 509, 510, 511, 512, 513, 1024, 100000}) {
            QByteArray out(prefix, 'p');
            Json::append(QString(length, u'x'), &out);
            EXPECT_EQ(out, QByteArray(prefix, 'p') + '"' + QByteArray(length, 'x') + '"') << prefix << ' ' << length;
        }
    }
}

TEST(JsonAppend, WritesNothingAfterTheRoomThatItHas)
{
    // An array with enough room for a text is not reallocated. For one byte more it must grow before it is written to,
    // and with some reserve: growing after the text was written would be an overrun.
    constexpr qsizetype Room = 1000; // growing by a single byte would hardly increase it
    for (const qsizetype size : {Room - 1, Room, Room + 1, Room + 2}) {
        const QByteArray raw(size, 'x');
        for (const auto& [what, value] : {std::pair("string", QVariant(QString(size - 2, u'x'))),
                                          std::pair("bytes", QVariant(QByteArray(size - 2, 'x'))),
                                          std::pair("raw", QVariant::fromValue(Json::RawText{raw})),
                                          std::pair("digits", QVariant(QVariantList(size / 2 - 1, 1)))}) {
            QByteArray out;
            out.reserve(Room);
            ASSERT_EQ(out.capacity(), Room);
            const char* const place = out.constData();
            Json::append(value, &out);
            EXPECT_EQ(out, Json::serialize(value)) << what << ' ' << size;
            if (out.size() <= Room)
                EXPECT_EQ(out.constData(), place) << what << ' ' << size;
            else
                EXPECT_GT(out.capacity(), out.size() + Room / 4) << what << ' ' << size;
        }
    }
}

TEST(JsonAppend, DoesNotWriteIntoSharedBytes)
{
    QByteArray out("head");
    out.reserve(1000);
    const QByteArray shared = out;
    Json::append(QVariantList{1, 2}, &out);
    Json::append(QVariantMap(), &out);
    EXPECT_EQ(out.toStdString(), "head[1,2]{}");
    EXPECT_EQ(shared.toStdString(), "head");

    QByteArray literal = QByteArrayLiteral("head");
    Json::append(1, &literal);
    EXPECT_EQ(literal.toStdString(), "head1");
    QByteArray window = QByteArray::fromRawData("headroom", 4);
    Json::append(1, &window);
    EXPECT_EQ(window.toStdString(), "head1");
}

} // namespace

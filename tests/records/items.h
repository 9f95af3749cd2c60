#ifndef QUORVA_TESTS_RECORDS_ITEMS_H
#define QUORVA_TESTS_RECORDS_ITEMS_H

#include "protocol/bodies.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <ostream>

/** Makes test failures show texts and trees readably; found by the test framework through argument-dependent lookup. */
inline void PrintTo(const QByteArray& bytes, std::ostream* out)
{
    *out << '"' << bytes.toPercentEncoding(" |{}[]\":,_\\/").toStdString() << '"';
}

inline void PrintTo(const QString& text, std::ostream* out)
{
    *out << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QVariant& value, std::ostream* out)
{
    *out << value.typeName() << ' ' << Json::serialize(value).toStdString();
}

inline void PrintTo(const QVariantMap& map, std::ostream* out)
{
    *out << Json::serialize(map).toStdString();
}

/** An item, a map of conditions or a map of updates, as a client sends it. */
inline QVariantMap json(const QByteArray& text)
{
    QVariant value;
    EXPECT_TRUE(Json::parse(text, &value)) << text.toStdString();
    return value.toMap();
}

/** A range condition or an entry of a filter, with keys in Latin-1. */
inline QVariantMap condition(const QString& comparison, const QList<QByteArray>& keys)
{
    QStringList texts;
    for (const QByteArray& key : keys)
        texts.append(QString::fromLatin1(key));
    return Bodies::condition(comparison, texts);
}

#endif

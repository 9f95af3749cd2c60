#ifndef QUORVA_TESTS_REQUEST_COMMITFIXTURE_H
#define QUORVA_TESTS_REQUEST_COMMITFIXTURE_H

#include "itemoperation.h"

inline const QVariantMap NoItem{{"Exists", false}};

/** What a Commit expects of an item that was read. */
inline QVariantMap expectedItem(const QVariantMap& attributes)
{
    return {{"Item", attributes}};
}

/** A server with a table, for Commits. */
class CommitTest : public ItemOperation {
protected:
    /** An entry for an item of `tableName()`, with its action and perhaps "Expected". */
    QVariantMap entry(const QString& hash, const QString& range, const QVariantMap& more) const
    {
        return merged({{"TableName", tableName()}, {"Key", itemKey(hash, range)}}, more);
    }
    QVariantMap putEntry(const QString& hash, const QString& range, const QVariantMap& attributes,
                         const QVariantMap& expected = {}) const
    {
        return withExpected(entry(hash, range, {{"Put", attributes}}), expected);
    }
    QVariantMap deleteEntry(const QString& hash, const QString& range, const QVariantMap& expected = {}) const
    {
        return withExpected(entry(hash, range, {{"Delete", true}}), expected);
    }
    QVariantMap checkEntry(const QString& hash, const QString& range, const QVariantMap& expected) const
    {
        return withExpected(entry(hash, range, {{"Check", true}}), expected);
    }

    QVariantMap commit(const QVariantList& entries) { return request("Quorva_1.Commit", {{"Entries", entries}}); }

    static QVariantMap mismatch(int entry) { return {{"Entry", qlonglong(entry)}}; }
    static QVariantMap mismatch(int entry, const QVariantMap& item)
    {
        return {{"Entry", qlonglong(entry)}, {"Item", item}};
    }
    static QVariantMap mismatched(const QVariantList& mismatches)
    {
        return conditionFailedReply({{"Mismatches", mismatches}});
    }
    static QVariantMap invalid(const QString& message) { return merged(invalidRequestReply(), {{"message", message}}); }

private:
    static QVariantMap withExpected(QVariantMap entry, const QVariantMap& expected)
    {
        if (!expected.isEmpty())
            entry.insert("Expected", expected);
        return entry;
    }
};

#endif

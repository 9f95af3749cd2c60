#ifndef QUORVA_TESTS_FUZZ_COMMITGENERATOR_H
#define QUORVA_TESTS_FUZZ_COMMITGENERATOR_H

#include "environments.h"
#include "fuzztarget.h"
#include "itemgenerator.h"

#include "support/tablefixture.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <QString>
#include <QVariant>

/** Makes Commits from choices, well-formed and not. Many expect the current items. */
class CommitGenerator : protected ItemGenerator {
public:
    using ItemGenerator::ItemGenerator;

protected:
    QVariant entries()
    {
        QVariantList list;
        for (unsigned n = choices_->upTo(5); n > 0; --n)
            list.append(mostly(entry()));
        return list;
    }

    /** After a success, each entry's item is as it was put, or gone; after a mismatch, it is as the reply says. */
    static void expectCommitted(const QVariantMap& body, const QVariantMap& reply)
    {
        QVariant sent; // as the server reads it
        FUZZ_ASSERT(Json::parse(Json::serialize(body), &sent));
        const QVariantList entries = sent.toMap().value("Entries").toList();
        if (reply.value("__rc") == 200) {
            for (const QVariant& entry : entries)
                expectWritten(entry.toMap());
        }
        for (const QVariant& mismatch : reply.value("Mismatches").toList()) {
            const qsizetype number = mismatch.toMap().value("Entry").toLongLong();
            FUZZ_ASSERT(number >= 0 && number < entries.size());
            FUZZ_ASSERT(present(entries[number].toMap()) == mismatch.toMap().value("Item"));
        }
    }

private:
    QVariantMap entry()
    {
        QVariantMap entry{{"TableName", tableName()}, {"Key", key()}};
        switch (choices_->upTo(4)) {
        case 0:
            entry.insert("Delete", mostly(true));
            break;
        case 1:
            entry.insert("Check", mostly(true));
            break;
        default:
            entry.insert("Put", mostly(attributes()));
        }
        switch (choices_->upTo(4)) {
        case 0:
            entry.insert("Expected", mostly(QVariantMap{{"Exists", mostly(false)}}));
            break;
        case 1:
            entry.insert("Expected", mostly(QVariantMap{{"Item", mostly(attributes())}}));
            break;
        case 2: {
            const QVariant item = present(entry);
            entry.insert("Expected", item.isValid() ? QVariantMap{{"Item", item}} : QVariantMap{{"Exists", false}});
            break;
        }
        default:
            break;
        }
        return entry;
    }

    QVariantMap attributes()
    {
        QVariantMap result = item();
        if (!choices_->oneIn(20)) {
            result.remove("h");
            result.remove("r");
        }
        return result;
    }

    static void expectWritten(const QVariantMap& entry)
    {
        if (entry.contains("Put"))
            FUZZ_ASSERT(present(entry) == entry.value("Put"));
        else if (entry.contains("Delete"))
            FUZZ_ASSERT(!present(entry).isValid());
    }

    /** The item that an entry names; invalid if there is none. */
    static QVariant present(const QVariantMap& entry)
    {
        return environments()
            .request("GetItem", {{"TableName", entry.value("TableName")}, {"Key", entry.value("Key")}})
            .value("Item");
    }
};

#endif

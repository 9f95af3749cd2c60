#ifndef QUORVA_TESTS_SUPPORT_STATUSFIXTURE_H
#define QUORVA_TESTS_SUPPORT_STATUSFIXTURE_H

#include "support/tablefixture.h"

#include <QVariantList>

#include <chrono>
#include <utility>

/** A server whose status is requested. */
class StatusTest : public TableTest {
protected:
    using TableTest::TableTest;

    QVariantMap status()
    {
        const QVariantMap reply = request("Quorva_1.Status", {});
        EXPECT_EQ(reply.value("__rc"), QVariant(200LL)) << testing::PrintToString(reply);
        return reply;
    }

    /** One of its maps: "Bytes". */
    QVariantMap status(const QString& part) { return status().value(part).toMap(); }

    /** In seconds since 1970, like the times in a status. */
    static double now()
    {
        return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    }

    /** The part of a status about an environment; empty if that is not open. */
    static QVariantMap environmentIn(const QVariantMap& status, const std::string& directory)
    {
        for (const QVariant& entry : status.value("Environments").toList()) {
            if (entry.toMap().value("Directory") == QString::fromStdString(directory))
                return entry.toMap();
        }
        return {};
    }
    QVariantMap environment() { return environmentIn(status(), home()); }

    /** The numbers of requests in it, by "Operation Outcome". */
    static QMap<QString, qulonglong> requestCounts(const QVariantMap& status)
    {
        QMap<QString, qulonglong> counts;
        for (const QVariant& entry : status.value("Requests").toList()) {
            const QVariantMap row = entry.toMap();
            counts.insert(row.value("Operation").toString() + ' ' + row.value("Outcome").toString(),
                          row.value("Count").toULongLong());
        }
        return counts;
    }
};

#endif

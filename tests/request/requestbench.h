#ifndef QUORVA_TESTS_REQUEST_REQUESTBENCH_H
#define QUORVA_TESTS_REQUEST_REQUESTBENCH_H

#include "protocol/operations.h"
#include "request/bdbrequest.h"
#include "request/dispatch.h"
#include "request/tableops.h"
#include "storage/bdbregistry.h"
#include "storage/environmentpath.h"
#include "storage/openindex.h"
#include "storage/registrykeys.h"
#include "support/tablefixture.h"
#include "support/tempdir.h"
#include "json/jsonreader.h"
#include "json/jsontext.h"

#include <QByteArray>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <string>

/** The outcome of an operation. */
struct Outcome {
    int status;
    QVariantMap reply;

    bool operator==(const Outcome&) const = default;
};

inline void PrintTo(const Outcome& outcome, std::ostream* out)
{
    *out << outcome.status << ' ';
    PrintTo(outcome.reply, out);
}

/** Runs operations in the test process, on its own registry and environment directory. Callable from any thread. */
class RequestBench {
public:
    ~RequestBench() { (void)run("DeleteTable", {{"TableName", tableName()}}); } // closes the environment
    RequestBench() = default;
    RequestBench(const RequestBench&) = delete;
    RequestBench& operator=(const RequestBench&) = delete;

    QString tableName(const QString& table = "t") const
    {
        return QString::fromStdString(directory_.path()) + '|' + table;
    }
    QByteArray tableBytes() const { return tableName().toUtf8(); }

    Outcome run(const QByteArray& operation, const QVariantMap& body) { return run(operation, body, false); }

    /** The same where only what is open may be used. */
    Outcome runIfShort(const QByteArray& operation, const QVariantMap& body) { return run(operation, body, true); }

    /** An operation's reply, with stored items, which it holds as JSON text, converted to values. */
    static QVariantMap withoutRawText(QVariantMap reply)
    {
        for (QVariant& value : reply) {
            if (value.metaType() == QMetaType::fromType<Json::RawText>()) {
                const QByteArray text = value.value<Json::RawText>().text;
                EXPECT_TRUE(Json::parse(text, &value)) << text.toStdString();
            }
        }
        return reply;
    }

    Outcome createTable()
    {
        return run("CreateTable",
                   {{"TableName", tableName()}, {"KeySchema", keySchema()}, {"ProvisionedThroughput", throughput()}});
    }

    BDBObjTable* registry() { return &registry_; }

    /** Opens the environment of its tables, or shares it if it is already open. */
    void openEnvironment(EnvironmentUse* use)
    {
        const QByteArray home = EnvironmentPath::ofTable(tableBytes());
        ASSERT_EQ(Registry::openEnv(&registry_, RegistryKeys::environment(home), use, 1024, 0, home), 0);
    }

    /** A database of an open environment, or null, with a test failure. */
    static BDBIndex* openDatabase(BDBEnv* env, const QByteArray& file, const char* subDb)
    {
        BDBObjTable connection(256);
        connection.setEnv(env);
        BDBIndex* db = nullptr;
        const QString key = QString::fromUtf8("db::" + file + ':' + subDb);
        EXPECT_EQ(Registry::openIndex(&connection, key, file, subDb, &db), 0);
        return db;
    }

private:
    Outcome run(const QByteArray& operation, const QVariantMap& body, bool onlyFind)
    {
        BDBObjTable connection(256);
        BDBRequest request(&registry_, &connection, 1024);
        request.operation = Operations::fullName(operation);
        request.parsedBody = RequestBody(body);
        if (onlyFind)
            request.table.onlyFind();
        Requests::dispatch(request);
        return {request.status, withoutRawText(request.reply)};
    }

    TempDir directory_;
    BDBObjTable registry_{8192};
};

#endif

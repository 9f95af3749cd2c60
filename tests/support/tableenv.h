#ifndef QUORVA_TESTS_SUPPORT_TABLEENV_H
#define QUORVA_TESTS_SUPPORT_TABLEENV_H

#include "records/tablecontext.h"
#include "storage/accesslock.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbregistry.h"
#include "support/logcapture.h"
#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <memory>

/** The state of a connection: its own table, and the context of one request. */
class TestConnection {
public:
    explicit TestConnection(BDBObjTable* registry, int environmentCapacity = 1024)
        : context_(registry, &table_, environmentCapacity)
    {}
    TestConnection(const TestConnection&) = delete;
    TestConnection& operator=(const TestConnection&) = delete;

    TableContext& context() { return context_; }
    BDBObjTable* table() { return &table_; }

private:
    BDBObjTable table_{256};
    TableContext context_;
};

/**
 * A registry with one real environment in its own temporary directory, and a connection with that as its current
 * environment. The destructor closes everything; further connections must be destroyed before.
 */
class TableEnv {
public:
    TableEnv() { open(); }
    ~TableEnv() { close(); }
    TableEnv(const TableEnv&) = delete;
    TableEnv& operator=(const TableEnv&) = delete;

    TableContext& context() { return connection_->context(); }
    BDBObjTable* connectionTable() { return connection_->table(); }
    BDBEnv* env() { return context().env(); }
    BDBObjTable* registry() { return &registry_; }

    const TempDir& directory() const { return directory_; }
    /** The TableName of a table in this environment. */
    QByteArray tableName(const QByteArray& table = "t") const { return directory_.bytes() + '|' + table; }

    /** The shared handle of a database, opened on first use. Null, with a test failure, if that fails. */
    BDBIndex* index(const QByteArray& file = "items.db", const char* subDatabase = "data")
    {
        BDBIndex* db = nullptr;
        EXPECT_EQ(context().dbOpen(tableName(file), subDatabase, &db), 0) << file.toStdString();
        return db;
    }

    /** Closes the environment, so that others can read its files. Invalidates its handles. */
    void close()
    {
        connection_.reset();
        if (const auto lock = Registry::lockEnv(&registry_, tableName(), true)) {
            Registry::removeEnv(&registry_, tableName());
            Registry::dropEnvLock(&registry_, lock);
        }
    }

    /** Closes the environment and reopens the same directory, with a fresh request. */
    void reopen()
    {
        close();
        open();
    }

    /**
     * The same, and waits for the environment's first checkpoint to finish: it writes to the log, and its failure ends
     * the process.
     */
    void settle()
    {
        close(); // it may be writing its first checkpoint as well
        const LogCapture log(LogInfo);
        open();
        ASSERT_TRUE(log.waitFor("Done txn_checkpoint"));
    }

private:
    void open()
    {
        connection_ = std::make_unique<TestConnection>(&registry_);
        EXPECT_EQ(context().envLookup(tableName(), 1), 0) << directory_.path();
    }

    TempDir directory_; // must outlive the environment in it
    BDBObjTable registry_{16};
    std::unique_ptr<TestConnection> connection_;
};

#endif

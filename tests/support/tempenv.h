#ifndef QUORVA_TESTS_SUPPORT_TEMPENV_H
#define QUORVA_TESTS_SUPPORT_TEMPENV_H

#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbobjtable.h"
#include "storage/bdbtxn.h"
#include "storage/openindex.h"
#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

/**
 * A real Berkeley DB environment in its own temporary directory, attached to a connection's table. The destructor
 * closes it. It is in no registry.
 */
class TempEnv {
public:
    /** `tableCapacity` is the number of slots for database handles; slot 0 is never used. */
    explicit TempEnv(int tableCapacity = 1024) : tableCapacity_(tableCapacity) { open(); }
    TempEnv(const TempEnv&) = delete;
    TempEnv& operator=(const TempEnv&) = delete;

    BDBEnv* get() const { return env_.get(); }
    BDBEnv* operator->() const { return env_.get(); }

    /** A connection's table with this as its current environment. */
    BDBObjTable* table() { return &table_; }

    /** The environment's directory, and a file in it. */
    const std::string& path() const { return directory_.path(); }
    std::string file(const std::string& name) const { return directory_.file(name); }

    /** The shared handle of a database, opened on first use. Null, with a test failure, if that fails. */
    BDBIndex* index(const QByteArray& file, const char* subDb = "data")
    {
        BDBIndex* opened = nullptr;
        const QString key = QString::fromUtf8("db::" + file + ":" + subDb);
        EXPECT_EQ(Registry::openIndex(&table_, key, file, subDb, &opened), 0) << file.toStdString();
        return opened;
    }

    /** Writes a record of this size under the key `number`, in its own transaction. */
    void put(const QByteArray& file, int number, std::size_t bytes)
    {
        std::string value(bytes, 'x');
        BDBTxn txn;
        ASSERT_EQ(txn.begin(get(), 0), 0);
        Dbt key(&number, sizeof number);
        Dbt data(value.data(), static_cast<u_int32_t>(value.size()));
        ASSERT_EQ(index(file)->put(&txn, &key, &data, 0), 0);
        ASSERT_EQ(txn.commit(DB_TXN_NOSYNC), 0);
    }

    void close()
    {
        table_.setEnv(nullptr);
        env_.reset();
    }

    /** Closes the environment and reopens the same directory. Invalidates its handles. */
    void reopen()
    {
        close();
        open();
    }

private:
    void open()
    {
        env_ = std::make_unique<BDBEnv>(tableCapacity_, DB_CXX_NO_EXCEPTIONS);
        EXPECT_EQ(env_->open(directory_.bytes()), 0) << path();
        table_.setEnv(env_.get());
    }

    const int tableCapacity_;
    TempDir directory_; // must outlive the environment in it
    BDBObjTable table_{256};
    std::unique_ptr<BDBEnv> env_;
};

#endif

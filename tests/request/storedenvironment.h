#ifndef QUORVA_TESTS_REQUEST_STOREDENVIRONMENT_H
#define QUORVA_TESTS_REQUEST_STOREDENVIRONMENT_H

#include <QByteArray>

#include <db_cxx.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>

/**
 * An environment that no server has open, read with Berkeley DB alone: what another version of the server, or an
 * operator's tool, would find on disk. Opening it runs recovery.
 */
class StoredEnvironment {
public:
    explicit StoredEnvironment(const std::string& home) : home_(home), env_(DB_CXX_NO_EXCEPTIONS)
    {
        constexpr u_int32_t flags =
            DB_CREATE | DB_RECOVER | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN | DB_PRIVATE | DB_THREAD;
        env_.set_error_stream(nullptr);
        env_.set_cachesize(0, 16 * 1024 * 1024, 1);
        EXPECT_EQ(env_.open(home.c_str(), flags, 0), 0) << home;
    }
    ~StoredEnvironment() { EXPECT_EQ(env_.close(0), 0); }
    StoredEnvironment(const StoredEnvironment&) = delete;
    StoredEnvironment& operator=(const StoredEnvironment&) = delete;

    /** All records of one sub-database. */
    std::map<QByteArray, QByteArray> records(const std::string& file, const std::string& subDb)
    {
        return read(file, subDb.c_str());
    }

    /** The names of the sub-databases of a file. */
    std::set<QByteArray> subDatabases(const std::string& file)
    {
        std::set<QByteArray> names;
        for (const auto& [name, page] : read(file, nullptr))
            names.insert(name);
        return names;
    }

    /** Writes a record verbatim. */
    void put(const std::string& file, const std::string& subDb, QByteArray key, QByteArray value)
    {
        Dbt keyData(key.data(), static_cast<u_int32_t>(key.size()));
        Dbt valueData(value.data(), static_cast<u_int32_t>(value.size()));
        change(file, subDb, [&](Db* db) { return db->put(nullptr, &keyData, &valueData, 0); });
    }

    void remove(const std::string& file, const std::string& subDb, QByteArray key)
    {
        Dbt keyData(key.data(), static_cast<u_int32_t>(key.size()));
        change(file, subDb, [&](Db* db) { return db->del(nullptr, &keyData, 0); });
    }

    /** The names of the files in the environment's directory, without the numbered logs. */
    std::set<std::string> files() const
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(home_)) {
            const std::string name = entry.path().filename();
            if (!name.starts_with("log."))
                names.insert(name);
        }
        return names;
    }

private:
    template <typename Change> void change(const std::string& file, const std::string& subDb, Change&& change)
    {
        Db db(&env_, DB_CXX_NO_EXCEPTIONS);
        ASSERT_EQ(db.open(nullptr, file.c_str(), subDb.c_str(), DB_UNKNOWN, DB_AUTO_COMMIT | DB_THREAD, 0), 0) << file;
        EXPECT_EQ(change(&db), 0);
        EXPECT_EQ(db.close(0), 0);
    }

    std::map<QByteArray, QByteArray> read(const std::string& file, const char* subDb)
    {
        std::map<QByteArray, QByteArray> found;
        Db db(&env_, DB_CXX_NO_EXCEPTIONS);
        EXPECT_EQ(db.open(nullptr, file.c_str(), subDb, DB_UNKNOWN, DB_RDONLY, 0), 0) << file;
        Dbc* cursor = nullptr;
        EXPECT_EQ(db.cursor(nullptr, &cursor, 0), 0);
        if (cursor != nullptr) {
            Dbt key;
            Dbt value;
            key.set_flags(DB_DBT_MALLOC);
            value.set_flags(DB_DBT_MALLOC);
            while (cursor->get(&key, &value, DB_NEXT) == 0)
                found.emplace(take(key), take(value));
            EXPECT_EQ(cursor->close(), 0);
        }
        EXPECT_EQ(db.close(0), 0);
        return found;
    }

    static QByteArray take(Dbt& data)
    {
        QByteArray bytes(static_cast<const char*>(data.get_data()), static_cast<qsizetype>(data.get_size()));
        std::free(data.get_data());
        return bytes;
    }

    std::string home_;
    DbEnv env_;
};

#endif

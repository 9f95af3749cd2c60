#ifndef QUORVA_RECORDS_TABLECONTEXT_H
#define QUORVA_RECORDS_TABLECONTEXT_H

#include "storage/environmentuse.h"
#include "storage/txnscope.h"

#include <QByteArray>
#include <QVarLengthArray>
#include <QVariantMap>

#include <optional>
#include <utility>

class BDBIndex;
class BDBObjTable;
class CommitGate;

/** The two elements of a table's key schema, each with "AttributeName" and "AttributeType". */
struct KeySchema {
    QVariantMap hash;
    QVariantMap range;
};

/**
 * The context of a request: the environment of its tables, and the key schema of its current table. One for each
 * connection, whose requests use it in turn; used by one thread at a time.
 */
class TableContext {
public:
    /**
     * `registry` is the server's, `connection` the connection's own table; both outlive the context. Environments that
     * it opens get a table of `environmentCapacity` slots for their databases.
     */
    TableContext(BDBObjTable* registry, BDBObjTable* connection, int environmentCapacity)
        : registry_(registry), connection_(connection), environmentCapacity_(environmentCapacity)
    {}

    /**
     * From here on the context only finds what is already open: opening takes long after a crash, and waits for other
     * requests. Anything else is StatusTakesLong, without a log line.
     */
    void onlyFind() { onlyFinds_ = true; }
    bool onlyFinds() const { return onlyFinds_; }

    /**
     * Finds the environment of `tableName` or, with `create`, opens it. It becomes the current one, in which databases
     * are opened and transactions begin, and stays alive until leave(). 0, or the registry's code. The same directory
     * yields the environment found before; another one releases the previous environment, whatever the result.
     */
    [[nodiscard]] int envLookup(const QByteArray& tableName, int create);

    /**
     * Makes the environment of `tableName` the current one if it is open, as envLookup does, or leaves none. Waits
     * while it is being opened or closed, and opens nothing.
     */
    [[nodiscard]] bool joinIfOpen(const QByteArray& tableName);

    /**
     * Begins every operation on a table: envLookup with `create`, then acquires the environment's access lock shared,
     * until leave(). 0, the look-up's code, or StatusNotFound while the environment is being deleted.
     */
    [[nodiscard]] int openTable(const QByteArray& tableName);

    /** Finds or opens a database of the current environment: sub-database `subDatabase` of the file of `name`. */
    [[nodiscard]] int dbOpen(const QByteArray& name, const char* subDatabase, BDBIndex** db);

    /** Waits for any running removal of the table's files, and prevents further ones until leave(). */
    [[nodiscard]] int keepFiles(const QByteArray& tableName);

    /**
     * Finds or opens the database of one of the table's partitions in the current environment. Until leave(), it is not
     * removed, see keepFiles().
     */
    [[nodiscard]] int openPartition(const QByteArray& tableName, unsigned partition, BDBIndex** db);

    /**
     * The same for a request that only reads: `db` is null if the partition has no file, as no item was ever written to
     * it. Reading creates no files, as each open file permanently takes a slot in the environment's table.
     */
    [[nodiscard]] int findPartition(const QByteArray& tableName, unsigned partition, BDBIndex** db);

    /** Like openPartition, for the database of the table's description. */
    [[nodiscard]] int openMeta(const QByteArray& tableName, BDBIndex** db);

    /**
     * The same for a request that only reads it: `db` is null when there is no file, as there is no table. Finds or
     * opens the environment first (see envLookup), as DescribeTable reads a description without openTable.
     */
    [[nodiscard]] int findMeta(const QByteArray& tableName, BDBIndex** db);

    /** Records that the table's description has been read or written, so that it counts as an open table. */
    void noteCreated(const QByteArray& tableName);

    /**
     * Leaves the current environment; a request does so before it opens another one, and at its end. Releases the
     * access lock, on the thread that opened the table. If the result has anything unflushed, that must be durable
     * before the request is answered.
     */
    EnvironmentUse leave();

    /** leave(), and forgets the key schema: for the next request. */
    void reset();

    /** Gives up the hold on the access lock without releasing it, which is left to the caller. */
    void dismissAccess() { environment_.dismissAccess(); }

    /** The current environment, or null. */
    BDBEnv* env() const { return environment_.env(); }

    /** Where the request's transactions begin: in the current environment. */
    TxnScope transactions() { return &environment_; }

    /** The TableName that was used last, unless it was long. */
    const QByteArray& lastTable() const { return names_.tableName; }

    BDBObjTable* registry() const { return registry_; }

    /** The key schema that loadSchema checked last; unset before. */
    const std::optional<KeySchema>& keySchema() const { return keySchema_; }
    void setKeySchema(KeySchema schema) { keySchema_ = std::move(schema); }

private:
    /** Values derived from a TableName. Most requests of a connection name the same table as the one before. */
    struct Names {
        QByteArray tableName;
        QByteArray directory; // of the environment
        QByteArray filePart;
        QString key; // of the environment in the registry
    };

    static constexpr qsizetype UsualNameBytes = 512; // an idle connection does not keep longer names

    const Names& namesOf(const QByteArray& tableName);
    void enter(const Names& names);
    int passGate(const QByteArray& filePart);
    void leaveGates();
    int dbOpenExisting(const QByteArray& name, const char* subDatabase, BDBIndex** db);
    template <typename Open>
    int openNumbered(const QByteArray& tableName, unsigned database, BDBIndex** db, Open&& open);

    BDBObjTable* const registry_;
    BDBObjTable* const connection_;
    const int environmentCapacity_;
    bool onlyFinds_ = false;

    Names names_;          // of the last table
    QByteArray directory_; // of the current environment, as the request spelled it
    EnvironmentUse environment_;
    QVarLengthArray<CommitGate*, 2> gates_; // of the current environment's tables, held shared; see TableGates
    std::optional<KeySchema> keySchema_;
};

#endif

#include "limits/directtable.h"

#include "limits/directrecords.h"

#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbobjtable.h"
#include "storage/bdbregistry.h"
#include "storage/bdbtxn.h"
#include "storage/openindex.h"
#include "storage/registrykeys.h"
#include "storage/settings.h"
#include "json/jsonwriter.h"

namespace Bench {

namespace {

// The server's: its registry, and the tables of an environment and of a connection.
constexpr int RegistryCapacity = 8192;
constexpr int EnvironmentCapacity = 1024;
constexpr int ConnectionCapacity = 256;

constexpr const char* TableFile = "items";

} // namespace

/** The server's tables of what is open, and a hold on the environment. */
class DirectTable::Registry {
public:
    ~Registry()
    {
        use.reset();
        ::Registry::removeEnv(&environments, tableName);
    }

    BDBObjTable environments{RegistryCapacity};
    BDBObjTable connection{ConnectionCapacity};
    EnvironmentUse use;
    QByteArray tableName;
};

DirectTable::DirectTable() : registry_(std::make_unique<Registry>()) {}

DirectTable::~DirectTable() = default;

int DirectTable::open(const QByteArray& directory)
{
    registry_->tableName = directory + '|' + TableFile;
    if (const int rc = ::Registry::openEnv(&registry_->environments, RegistryKeys::environment(directory),
                                           &registry_->use, EnvironmentCapacity, 1, directory))
        return rc;
    env_ = registry_->use.env();
    registry_->connection.setEnv(env_);
    for (unsigned i = 0; i < PartitionCount; ++i) {
        const QByteArray file = Records::dataFileName(TableFile, i);
        BDBIndex* db = nullptr;
        if (const int rc = ::Registry::openIndex(&registry_->connection,
                                                 QString::fromLatin1("db::" + file + ":" + TableNames::DataSubDatabase),
                                                 file, TableNames::DataSubDatabase, &db))
            return rc;
        partitions_.push_back(db);
    }
    return 0;
}

int DirectTable::load(const Workload& workload)
{
    const std::uint32_t commitFlags = Settings::txnCommitFlags();
    Settings::setTxnCommitFlags(DB_TXN_NOSYNC);
    const QByteArray value = Json::serialize(workload.item());
    int rc = 0;
    for (unsigned first = 0; rc == 0 && first < workload.items; first += ItemsPerBatch) {
        BDBTxn txn;
        rc = txn.begin(env_, 0);
        for (unsigned item = first; rc == 0 && item < first + ItemsPerBatch; ++item) {
            const QByteArray recordKeyText = keyOf(item);
            Dbt key = dbtOf(recordKeyText);
            Dbt data = dbtOf(value);
            rc = partitions_[partitionOfItem(item)]->put(&txn, &key, &data, 0);
        }
        rc = txn.finish(rc);
    }
    Settings::setTxnCommitFlags(commitFlags);
    return rc == 0 ? checkpoint() : rc;
}

int DirectTable::checkpoint()
{
    return env_->txn_checkpoint(0, 0, DB_FORCE);
}

} // namespace Bench

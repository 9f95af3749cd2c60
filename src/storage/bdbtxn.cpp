#include "storage/bdbtxn.h"

#include "log/log.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/resultcodes.h"
#include "storage/settings.h"

#include <shared_mutex>
#include <utility>

namespace {

constexpr const char* LogOrigin = "bdb";

} // namespace

BDBTxn::~BDBTxn()
{
    if (txn_ != nullptr)
        (void)abort(); // there is no caller to report to
}

int BDBTxn::begin(BDBEnv* env, u_int32_t flags)
{
    env_ = env;
    changes_ = nullptr;
    const int rc = env->txn_begin(nullptr, &txn_, flags);
    if (rc != 0)
        LOG_ERROR(LogOrigin, __LINE__) << "txn init failed rc " << rc;
    return rc;
}

int BDBTxn::commit(u_int32_t flags)
{
    if (txn_ == nullptr) {
        LOG_ERROR(LogOrigin, __LINE__) << "bt_txn is NULL";
        return NoHandle;
    }
    const ChangeCount::Change change(changes_); // others may see it before the commit returns
    const std::shared_lock gate(env_->commitGate());
    const int rc = std::exchange(txn_, nullptr)->commit(flags);
    if (rc != 0)
        LOG_ERROR(LogOrigin, __LINE__) << "txn commit failed rc " << rc;
    return rc;
}

int BDBTxn::abort()
{
    if (txn_ == nullptr)
        return NoHandle;
    return std::exchange(txn_, nullptr)->abort();
}

void BDBTxn::noteWrite(const BDBIndex* index)
{
    if (index->changes() != nullptr)
        changes_ = index->changes();
}

int BDBTxn::finish(int rc)
{
    if (rc == 0)
        return commit(Settings::txnCommitFlags());
    (void)abort(); // the result that matters is the one that led here
    return rc;
}

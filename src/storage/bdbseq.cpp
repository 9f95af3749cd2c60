#include "storage/bdbseq.h"

#include "storage/bdbindex.h"
#include "storage/resultcodes.h"

BDBSeq::~BDBSeq()
{
    (void)close(); // 22 when there is nothing to close
}

int BDBSeq::open(BDBIndex* index, std::int64_t initial, std::int64_t min, std::int64_t max, int cacheSize, Dbt* key,
                 u_int32_t flags)
{
    sequence_ = std::make_unique<DbSequence>(index, 0);
    int rc = sequence_->initial_value(initial);
    if (rc == 0)
        rc = sequence_->set_range(min, max);
    if (rc == 0)
        rc = sequence_->set_cachesize(cacheSize);
    if (rc == 0)
        rc = sequence_->open(nullptr, key, flags);
    if (rc != 0)
        sequence_.reset();
    return rc;
}

int BDBSeq::next(std::int64_t* value)
{
    if (!sequence_)
        return NoHandle;
    db_seq_t number = 0;
    const int rc = sequence_->get(nullptr, 1, &number, DB_TXN_NOSYNC);
    if (rc == 0)
        *value = number;
    return rc;
}

int BDBSeq::close()
{
    if (!sequence_)
        return WrongState;
    const int rc = sequence_->close(0);
    sequence_.reset();
    return rc;
}

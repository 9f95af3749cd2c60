#ifndef QUORVA_STORAGE_BDBSEQ_H
#define QUORVA_STORAGE_BDBSEQ_H

#include "storage/bdbobject.h"

#include <db_cxx.h>

#include <cstdint>
#include <memory>

class BDBIndex;

/**
 * A number sequence kept in a database. Belongs to the thread that opened it.
 *
 * Kept: part of the storage objects' set; no request uses it.
 */
class BDBSeq final : public BDBObject {
public:
    BDBSeq() = default;
    ~BDBSeq();

    int type() const override { return BDBSeqType; }

    /**
     * Opens the sequence under `key` of `index`; the settings apply when it is created. Numbers are reserved
     * `cacheSize` at a time. Returns the first result other than 0; there is no sequence then.
     */
    [[nodiscard]] int open(BDBIndex* index, std::int64_t initial, std::int64_t min, std::int64_t max, int cacheSize,
                           Dbt* key, u_int32_t flags);

    /** The next number, outside any transaction and without a log flush. 12 when there is no sequence. */
    [[nodiscard]] int next(std::int64_t* value);

    /** 22 when there is no sequence. */
    int close();

private:
    std::unique_ptr<DbSequence> sequence_;
};

#endif

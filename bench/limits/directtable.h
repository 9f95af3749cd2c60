#ifndef QUORVA_BENCH_LIMITS_DIRECTTABLE_H
#define QUORVA_BENCH_LIMITS_DIRECTTABLE_H

#include "common/workload.h"

#include <QByteArray>

#include <memory>
#include <vector>

class BDBEnv;
class BDBIndex;

namespace Bench {

/**
 * A table in an environment as the server opens and fills it, without anything around it: the same files, pages, keys
 * and bytes. Every partition is opened beforehand. Threads: once it is open, any number of workers may use it.
 */
class DirectTable {
public:
    DirectTable();
    ~DirectTable();

    /** Opens the environment in `directory`, which must exist, and all partitions of the table "items" in it. */
    [[nodiscard]] int open(const QByteArray& directory);

    /** Puts all items, without waiting for the disk, and writes a checkpoint. */
    [[nodiscard]] int load(const Workload& workload);

    /** Makes the next recovery a short one. */
    [[nodiscard]] int checkpoint();

    BDBEnv* env() const { return env_; }
    BDBIndex* partition(unsigned number) const { return partitions_[number]; }

private:
    class Registry;
    std::unique_ptr<Registry> registry_;
    BDBEnv* env_ = nullptr;             // the registry's
    std::vector<BDBIndex*> partitions_; // the environment's
};

} // namespace Bench

#endif

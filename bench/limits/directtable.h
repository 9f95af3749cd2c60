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
 * A table in an environment as the server opens and fills it, but without the server: the same files, pages, keys and
 * bytes. All partitions are opened in advance. Threads: once it is open, any number of workers may use it.
 */
class DirectTable {
public:
    DirectTable();
    ~DirectTable();

    /** Opens the environment in `directory`, which must exist, and all partitions of the table "items" in it. */
    [[nodiscard]] int open(const QByteArray& directory);

    /** Puts all items, without waiting for the disk, and writes a checkpoint. */
    [[nodiscard]] int load(const Workload& workload);

    /** Makes the next recovery short. */
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

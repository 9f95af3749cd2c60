#ifndef QUORVA_STORAGE_TABLEREMOVAL_H
#define QUORVA_STORAGE_TABLEREMOVAL_H

#include <QByteArray>

#include <cstdint>

class BDBEnv;

/** Removes files of a table from an environment in use. */
namespace TableRemoval {

enum Part {
    Everything, // the description and all items: the table no longer exists
    Items       // the table is empty
};

/** What was removed. */
struct Removed {
    int files = 0;
    std::uint64_t bytes = 0; // of these files, on disk
    long long items = 0;
};

/**
 * Removes the table with this file part, or its items, in one transaction, which is durable when this returns 0: after
 * a crash either all of the files exist or none. Requests to the table that are running end first, others wait until
 * it is done. A full backup first finishes the file that it is copying.
 *
 * `*removed` has no files if there were none. EBUSY: a file of the table is open under another name, by a link.
 * Otherwise an errno value or a Berkeley DB code, with nothing removed.
 *
 * The caller uses the environment, is in no transaction, and has not passed a gate of it (TableGates). Any thread.
 */
[[nodiscard]] int run(BDBEnv* env, const QByteArray& filePart, Part part, Removed* removed);

} // namespace TableRemoval

#endif

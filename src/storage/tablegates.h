#ifndef QUORVA_STORAGE_TABLEGATES_H
#define QUORVA_STORAGE_TABLEGATES_H

#include "storage/commitgate.h"

#include <QByteArray>
#include <QHash>

#include <array>
#include <cstddef>

/**
 * Keeps requests out of a table whose files are being removed. A request passes the gate of each table before it finds
 * or opens a database of it, and holds it shared until its end; a removal of files holds it exclusively. Requests that
 * arrive meanwhile wait.
 *
 * Several tables share a gate, so a request takes each one once. It may wait for a second gate while it holds the
 * first, so only one removal may run in an environment: see BDBEnv::filesMutex().
 */
class TableGates {
public:
    CommitGate& of(const QByteArray& filePart) { return gates_[qHash(filePart) % Count]; }

private:
    static constexpr std::size_t Count = 64;

    std::array<CommitGate, Count> gates_;
};

#endif

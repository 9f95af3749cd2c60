#ifndef QUORVA_STORAGE_ENGINECALLS_H
#define QUORVA_STORAGE_ENGINECALLS_H

namespace EngineCalls {

/**
 * From here on, Berkeley DB reads, writes, synchronises and removes files through functions of ours. They record the
 * time as a wait for the disk of the request that made the call (see metrics/waits.h). A synchronisation returns only
 * when the names of prepared log files are durable (see lognaming.h), and a removal when it is durable. For start-up,
 * before an environment is opened.
 */
void replace();

/** True if that has been done. */
bool areReplaced();

} // namespace EngineCalls

#endif

#ifndef QUORVA_STORAGE_ENGINECALLS_H
#define QUORVA_STORAGE_ENGINECALLS_H

namespace EngineCalls {

/**
 * From here on, Berkeley DB reads, writes and synchronises files through functions of ours. The time is noted as a wait
 * for the disk of the request that Berkeley DB works for (see metrics/waits.h), and the end of a synchronisation waits
 * until the names of prepared log files are durable (see lognaming.h). For start-up, before an environment is opened.
 */
void replace();

/** Whether that has been done. */
bool areReplaced();

} // namespace EngineCalls

#endif

#ifndef QUORVA_STORAGE_DISKWAITS_H
#define QUORVA_STORAGE_DISKWAITS_H

namespace DiskWaits {

/**
 * From here on, the time that Berkeley DB spends reading, writing and synchronising files is noted as a wait for the
 * disk of the request that it works for (see metrics/waits.h). For start-up, before an environment is opened.
 */
void measure();

} // namespace DiskWaits

#endif

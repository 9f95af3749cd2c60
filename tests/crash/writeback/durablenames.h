#ifndef QUORVA_TESTS_CRASH_WRITEBACK_DURABLENAMES_H
#define QUORVA_TESTS_CRASH_WRITEBACK_DURABLENAMES_H

#include "writeback/tracker.h"

#include <string>

#include <sys/types.h>

/** The durable names of files and directories. */
namespace WriteBack {

/** Makes a directory's names durable as they are. The tracker's mutex is held. */
void synchroniseNames(const std::string& directory);

/**
 * Makes the names durable that lead from the environment's directory to a synchronised file. A durable name that it had
 * before, and that no longer exists, is removed. The tracker's mutex is held.
 */
void synchroniseNameOf(const std::string& path);

/** A file of the environment was synchronised: so is its name, unless names follow the strict rule. No mutex is held.
 */
void fileSynchronised(File* file, int descriptor);

} // namespace WriteBack

#endif

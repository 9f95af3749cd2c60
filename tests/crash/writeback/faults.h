#ifndef QUORVA_TESTS_CRASH_WRITEBACK_FAULTS_H
#define QUORVA_TESTS_CRASH_WRITEBACK_FAULTS_H

#include <string>

namespace WriteBack {

/** Kills this process if the sync of this path is the requested one. */
void dieIfAsked(const std::string& path);

/** Kills this process if a kill at the removal of this path is requested. */
void dieWhenRemoved(const std::string& path);

/** True if the sync of this path is to fail. */
bool failsAsAsked(const std::string& path);

} // namespace WriteBack

#endif

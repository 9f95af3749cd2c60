#ifndef QUORVA_TESTS_CRASH_WRITEBACK_RENAMES_H
#define QUORVA_TESTS_CRASH_WRITEBACK_RENAMES_H

namespace WriteBack {

/** rename(): the new name of a tracked file is not durable yet. Ends the process when that is not modelled. */
int renameTracked(const char* from, const char* to);

/** renameat2(), modelled as far as our code uses it: a rename that replaces nothing. */
int renameTrackedAt(int fromDirectory, const char* from, int toDirectory, const char* to, unsigned flags);

} // namespace WriteBack

#endif

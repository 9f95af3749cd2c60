#ifndef QUORVA_TESTS_CRASH_WRITEBACK_TRACKER_H
#define QUORVA_TESTS_CRASH_WRITEBACK_TRACKER_H

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>

#include <sys/types.h>

namespace WriteBack {

/** A file of the environment, whatever its name and however often it is open. */
struct File {
    std::mutex mutex;        // held while the file or its image changes
    ino_t inode = 0;         // set once
    std::string image{};     // path; set once
    std::set<off_t> dirty{}; // numbers of blocks that differ from the image; guarded by mutex
    std::set<off_t> lost{};  // numbers of blocks that differ, though a sync that failed has ended; guarded by mutex
    bool named = false;      // its current name is known to be durable; guarded by mutex
};

struct Descriptor {
    std::shared_ptr<File> file;
    bool synchronous = false;
};

/** What the process knows. Never destroyed: other threads write until the process has exited. */
struct Tracker {
    std::mutex mutex;        // locked before any file's; code that holds it calls none of the replaced functions
    std::string environment; // empty, or with a slash at the end, as the next two
    std::string strict;
    std::string state;
    bool strictNames = false;
    bool ignoreSync = false;
    std::map<ino_t, std::shared_ptr<File>> files; // of the environment
    std::unordered_map<int, Descriptor> descriptors;
};

Tracker& tracker();

/** True for paths below a directory that ends with a slash. */
bool isBelow(const std::string& path, const std::string& directory);

/** The tracked directory that contains the path; empty when there is none. */
std::string rootOf(const std::string& path);

/** The entry of a descriptor; without a file when it is not tracked. */
Descriptor lookup(int descriptor);

} // namespace WriteBack

#endif

#ifndef QUORVA_TESTS_SUPPORT_PROCFS_H
#define QUORVA_TESTS_SUPPORT_PROCFS_H

#include <sys/types.h>

#include <map>
#include <string>

/** What the system tells about a process or a thread of ours, to see what it is doing without asking it. */
namespace ProcFs {

/** The content of a file, empty when it cannot be read. */
std::string read(const std::string& path);

/** What follows "NAME:" and blanks in /proc/ID/status: "SigIgn", "voluntary_ctxt_switches", ... */
std::string status(pid_t id, const std::string& name);

/** How often it went to sleep by its own choice. */
long sleeps(pid_t id);

/** The processor time that it has used, in hundredths of a second. */
long processorTime(pid_t id);

/** Descriptor number and what it is open on. */
std::map<int, std::string> descriptors(pid_t id);

/** The flags of an open descriptor, as open() takes them. */
int descriptorFlags(pid_t id, int descriptor);

/** The TCP port on which the process listens, or 0. */
int listeningPort(pid_t id);

} // namespace ProcFs

#endif

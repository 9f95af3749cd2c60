#ifndef QUORVA_TESTS_SUPPORT_PROCFS_H
#define QUORVA_TESTS_SUPPORT_PROCFS_H

#include <sys/types.h>

#include <map>
#include <string>

/** What /proc reveals about a process or a thread, for observing it from outside. */
namespace ProcFs {

/** The content of a file; empty when it cannot be read. */
std::string read(const std::string& path);

/** The value of "NAME:" in /proc/ID/status: "SigIgn", "voluntary_ctxt_switches", ... */
std::string status(pid_t id, const std::string& name);

/** The number of voluntary context switches. */
long sleeps(pid_t id);

/** The CPU time used, in hundredths of a second. */
long processorTime(pid_t id);

/** The open descriptors, by number, with what each refers to. */
std::map<int, std::string> descriptors(pid_t id);

/** The flags of an open descriptor, as passed to open(). */
int descriptorFlags(pid_t id, int descriptor);

/** The TCP port on which the process listens, or 0. */
int listeningPort(pid_t id);

} // namespace ProcFs

#endif

#ifndef QUORVA_SERVER_PROCESSSETUP_H
#define QUORVA_SERVER_PROCESSSETUP_H

/**
 * Process-wide setup before anything else. The main thread calls these first; failures are ignored, as there is no log
 * yet and the server works, within tighter limits, without them.
 */
namespace ProcessSetup {

/**
 * Ignores SIGPIPE and SIGXFSZ, so that a write to a log whose reader died, or past a file size limit, merely fails
 * instead of terminating the server.
 */
void ignoreFatalWriteSignals();

/** Raises the soft limit on descriptors to the hard one: a single table has 256 data files. */
void raiseDescriptorLimit();

/** Sends Qt's messages to standard error, except one that occurs in normal operation; see the source. */
void installQtMessageHandler();

/**
 * All of the above, after opening any closed standard descriptors (base/standarddescriptors.h) and setting how much
 * freed memory is kept (base/freedmemory.h); and blocks SIGHUP for HangupWatch.
 */
void prepare();

} // namespace ProcessSetup

#endif

#ifndef QUORVA_SERVER_PROCESSSETUP_H
#define QUORVA_SERVER_PROCESSSETUP_H

/**
 * What the process needs from the system before anything else happens. The main thread calls these first of all; none
 * of them fails visibly, as there is no log yet and the server works, with less room, without them.
 */
namespace ProcessSetup {

/**
 * Ignores SIGPIPE and SIGXFSZ. Writing to a log whose reader died, or past a limit on file sizes, is then an error of
 * that one write and not the end of the server.
 */
void ignoreFatalWriteSignals();

/** Raises the soft limit of open descriptors to the hard one: one table alone has 256 data files. */
void raiseDescriptorLimit();

/** Sends Qt's messages to standard error, except the one that is part of normal work; see the source. */
void installQtMessageHandler();

/**
 * Has freed memory of the size of large replies used again instead of given back to the system at once: fetching it
 * anew, page by page, costs as much as the reply itself.
 */
void keepFreedMemory();

/** All of the above; first of all, standard descriptors that are closed are opened (base/standarddescriptors.h). */
void prepare();

} // namespace ProcessSetup

#endif

#ifndef QUORVA_BASE_STANDARDDESCRIPTORS_H
#define QUORVA_BASE_STANDARDDESCRIPTORS_H

/**
 * Standard input, output and error must always be open: a connection or a file that is assigned one of their numbers
 * would be read as input, or would receive printed output.
 */
namespace Base {

/**
 * Opens /dev/null for those that the process was started without. Call at program start, before there are other
 * threads. A failure is ignored: there is nowhere to report it yet.
 */
void openStandardDescriptors();

/** Closes a descriptor. One of the three standard ones is replaced with /dev/null; if that fails, it stays open. */
void closeOrReplace(int descriptor);

} // namespace Base

#endif

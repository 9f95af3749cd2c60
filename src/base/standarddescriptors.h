#ifndef QUORVA_BASE_STANDARDDESCRIPTORS_H
#define QUORVA_BASE_STANDARDDESCRIPTORS_H

/**
 * Standard input, output and error always have to be open: a connection or a file that got one of their numbers would
 * be read as input, or be sent what is printed.
 */
namespace Base {

/**
 * Opens /dev/null in place of those that the process was started without. For the beginning of a program, before it has
 * other threads. A failure is ignored: there is nowhere yet to report it to.
 */
void openStandardDescriptors();

/** Closes a descriptor. One of the three standard ones is replaced by /dev/null; if that fails, it stays as it is. */
void closeOrReplace(int descriptor);

} // namespace Base

#endif

#ifndef QUORVA_SERVER_GETOPT_H
#define QUORVA_SERVER_GETOPT_H

/** The command line as the server reads it, apart from the C library's functions of similar names. */
namespace CommandLine {

/** Where parsing stands: the start of the next call. For one thread. */
struct GetoptState {
    int nextIndex = 1;              // the word that is looked at when the cluster is used up
    const char* cluster = nullptr;  // what is left of the word in progress ("nw3" of "-nw3"), null when none is
    const char* argument = nullptr; // of the option returned last, a part of argv; null when it has none
};

/**
 * One option character that `options` ("p:n": p takes an argument, n does not) knows; '?' for one that it does not know
 * or whose argument is missing; -1 at the first word that is not an option, or at the end. There is no "--" terminator
 * and no reordering: "--" is a cluster whose option character is "-".
 */
int getopt(GetoptState* state, int argc, const char* const* argv, const char* options);

} // namespace CommandLine

#endif

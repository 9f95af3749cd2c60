#ifndef QUORVA_SERVER_GETOPT_H
#define QUORVA_SERVER_GETOPT_H

/** The server's own command line parser; not the C library's functions of similar names. */
namespace CommandLine {

/** The parser's position: where the next call starts. For one thread. */
struct GetoptState {
    int nextIndex = 1;              // the next word once the cluster is used up
    const char* cluster = nullptr;  // the rest of the current word ("nw3" of "-nw3"), null if there is none
    const char* argument = nullptr; // of the option returned last, points into argv; null if it has none
};

/**
 * The next option character listed in `options` ("p:n": p takes an argument, n does not); '?' for one that is unknown
 * or lacks its argument; -1 at the first word that is not an option, or at the end. There is no "--" terminator and no
 * reordering: "--" is a cluster whose option character is "-".
 */
int getopt(GetoptState* state, int argc, const char* const* argv, const char* options);

} // namespace CommandLine

#endif

#include "server/getopt.h"

#include <cstring>

namespace CommandLine {

int getopt(GetoptState* state, int argc, const char* const* argv, const char* options)
{
    state->argument = nullptr;
    if (state->cluster == nullptr || *state->cluster == '\0') {
        if (state->nextIndex >= argc)
            return -1;
        const char* word = argv[state->nextIndex];
        if (word[0] != '-' || word[1] == '\0')
            return -1;
        state->cluster = word + 1;
        ++state->nextIndex;
    }

    const char option = *state->cluster;
    // Kept: a ":" is not skipped like any other unknown character, so every further call returns '?' at the same
    // position. A server started with "-:" never gets past its options and opens neither its log nor its port.
    if (option == ':')
        return '?';
    ++state->cluster;

    const char* known = std::strchr(options, option);
    if (known == nullptr)
        return '?';
    if (known[1] != ':')
        return option;
    if (*state->cluster != '\0') {
        state->argument = state->cluster;
        state->cluster = nullptr;
    } else if (state->nextIndex < argc) {
        state->argument = argv[state->nextIndex++];
    } else {
        return '?';
    }
    return option;
}

} // namespace CommandLine

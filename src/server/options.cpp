#include "server/options.h"

#include "log/log.h"
#include "server/getopt.h"

#include <atomic>
#include <cstdlib>

int ServerOptions::coreCount(int reported)
{
    constexpr int DefaultCores = 4;
    if (reported >= 1)
        return reported;
    LOG_WARN << "Could not calculate no of cores, using default value " << DefaultCores;
    return DefaultCores;
}

// Both defaults come from the processors alone: a "-w" read later does not change the pool.
ServerOptions::ServerOptions(int cores) : workers(4 * cores), poolMax(10 * workers) {}

void ServerOptions::read(int argc, const char* const* argv)
{
    CommandLine::GetoptState state;
    for (int option = 0; (option = CommandLine::getopt(&state, argc, argv, "p:d:s:w:m:n")) != -1;) {
        // This loop may run forever (see getopt), and the language lets a compiler assume that a loop without a
        // visible effect ends. A fence is such an effect and costs no instruction.
        std::atomic_signal_fence(std::memory_order_seq_cst);
        switch (option) {
        case 'p':
            port = std::atoi(state.argument);
            break;
        case 'd':
            logFile = state.argument;
            break;
        case 's':
            statLevel = std::atoi(state.argument);
            break;
        case 'w':
            // Kept: the pool's default, ten times the default of this, does not follow it.
            workers = std::atoi(state.argument);
            break;
        case 'm':
            poolMax = std::atoi(state.argument);
            break;
        case 'n':
            commitWithoutSync = true;
            break;
        default: // '?': not ours to refuse, a parent may pass options that other releases know
            break;
        }
    }
}

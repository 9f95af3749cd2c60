#include "server/options.h"

#include "log/log.h"
#include "server/getopt.h"

#include <atomic>
#include <charconv>
#include <cstdlib>

int ServerOptions::coreCount(int reported)
{
    constexpr int DefaultCores = 4;
    if (reported >= 1)
        return reported;
    LOG_WARN << "Could not calculate no of cores, using default value " << DefaultCores;
    return DefaultCores;
}

// Both defaults depend only on the number of processors: a later "-w" does not change the pool.
ServerOptions::ServerOptions(int cores) : workers(4 * cores), poolMax(10 * workers) {}

void ServerOptions::read(int argc, const char* const* argv)
{
    CommandLine::GetoptState state;
    for (int option = 0; (option = CommandLine::getopt(&state, argc, argv, "p:d:s:w:m:n")) != -1;) {
        // This loop may run forever (see getopt), and a compiler may assume that a loop without side effects
        // terminates. A fence is a side effect and costs no instruction.
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
            // Kept: the pool's default, ten times the default of this one, does not change with it.
            workers = std::atoi(state.argument);
            break;
        case 'm':
            poolMax = std::atoi(state.argument);
            break;
        case 'n':
            commitWithoutSync = true;
            break;
        default: // '?': not refused: a parent may pass options of other releases
            break;
        }
    }
}

std::optional<std::chrono::milliseconds> ServerOptions::slowThreshold(const QByteArray& text)
{
    using std::chrono::milliseconds;
    constexpr milliseconds Longest = std::chrono::hours(24);
    milliseconds::rep value = 0;
    const auto [end, error] = std::from_chars(text.cbegin(), text.cend(), value);
    if (!text.isEmpty() && (error != std::errc() || end != text.cend()))
        return std::nullopt;
    return value >= 0 && value <= Longest.count() ? std::optional(milliseconds(value)) : std::nullopt;
}

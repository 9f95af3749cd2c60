#ifndef QUORVA_STORAGE_LOGCOMPARISON_H
#define QUORVA_STORAGE_LOGCOMPARISON_H

#include <cstdint>
#include <filesystem>

class BDBEnv;

/** Checks whether log files in another directory belong to the log of an open environment. Any thread. */
namespace LogComparison {

/**
 * Checks that `file` holds only what the environment's log file `number` has at the same offsets, or zeros, for data
 * that was not durable at a power loss. 0 with `*isOf` set, false when the environment no longer has that file, or an
 * error code.
 */
[[nodiscard]] int isOfLog(BDBEnv* env, std::uint32_t number, const std::filesystem::path& file, bool* isOf);

/**
 * Checks that the environment's log file `number` directly continues its predecessor in `directory`: the header of its
 * first record says where the last record of that file begins. 0 with `*follows` set, or an error code.
 */
[[nodiscard]] int followsLog(BDBEnv* env, std::uint32_t number, const std::filesystem::path& directory, bool* follows);

} // namespace LogComparison

#endif

#ifndef QUORVA_STORAGE_LOGCOMPARISON_H
#define QUORVA_STORAGE_LOGCOMPARISON_H

#include <cstdint>
#include <filesystem>

class BDBEnv;

/** Whether log files in another directory belong to the log of an open environment. Any thread. */
namespace LogComparison {

/**
 * Looks whether `file` holds nothing but what the environment's log file `number` has in the same places, or zeros: of
 * what had not reached the disk before a loss of power. 0 with `*isOf` set, false when the environment no longer has
 * that file, or an error code.
 */
[[nodiscard]] int isOfLog(BDBEnv* env, std::uint32_t number, const std::filesystem::path& file, bool* isOf);

/**
 * Looks whether the environment's log file `number` is the one that came after the log file before it in `directory`:
 * the header of its first record says where the last record of that begins. 0 with `*follows` set, or an error code.
 */
[[nodiscard]] int followsLog(BDBEnv* env, std::uint32_t number, const std::filesystem::path& directory, bool* follows);

} // namespace LogComparison

#endif

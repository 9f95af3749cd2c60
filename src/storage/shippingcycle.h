#ifndef QUORVA_STORAGE_SHIPPINGCYCLE_H
#define QUORVA_STORAGE_SHIPPINGCYCLE_H

#include <QByteArray>

#include <chrono>
#include <optional>

class BDBEnv;

/** One cycle of a backup's log shipping. Blocking file work; any thread, one per directory at a time. */
namespace ShippingCycle {

/**
 * Moves the log files that the environment no longer needs to the backup in `target`. 0, or the code of a failure,
 * which ends the backup, with an ERROR line.
 *
 * `wasAccepted`: the full copy or an earlier cycle has used the target. If it is then temporarily locked, the result is
 * 0: if shipping ended, checkpoints would remove log files and leave a gap in the backup. The log files stay where they
 * are until the next cycle.
 *
 * `until` is set if log files were moved: everything committed up to then is in them or in earlier ones.
 */
[[nodiscard]] int run(BDBEnv* env, const QByteArray& target, bool wasAccepted,
                      std::optional<std::chrono::system_clock::time_point>* until);

} // namespace ShippingCycle

#endif

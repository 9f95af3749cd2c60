#ifndef QUORVA_API_ITEMGATES_H
#define QUORVA_API_ITEMGATES_H

#include "api/keyrange.h"

#include <array>
#include <chrono>
#include <functional>
#include <mutex>
#include <string_view>

namespace Api {

/**
 * One gate for some of all items: of those who read an item, compute and commit, one at a time goes through. It saves
 * the attempts that would fail, and decides nothing: those who come to the server by another way do not know the gates,
 * and Commit finds them. Any thread.
 */
class ItemGates {
public:
    using Gate = std::unique_lock<std::timed_mutex>;

    /** Waits for an item's gate, but no longer than until `deadline`; then the gate does not own its lock. */
    [[nodiscard]] Gate enter(std::string_view table, const StoredKey& key,
                             std::chrono::steady_clock::time_point deadline)
    {
        const std::hash<std::string_view> hash;
        const std::size_t number = hash(table) ^ (hash(key.hash) * 3) ^ (hash(key.range) * 7);
        return {gates_[number % gates_.size()], deadline};
    }

private:
    std::array<std::timed_mutex, 1024> gates_;
};

} // namespace Api

#endif

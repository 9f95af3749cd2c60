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
 * Gates, each shared by some of the items, that let one request at a time read an item, compute and commit. They only
 * save attempts that would fail: clients that reach the server in another way do not pass them, so it is Commit that
 * detects a conflict. Any thread.
 */
class ItemGates {
public:
    using Gate = std::unique_lock<std::timed_mutex>;

    /** Waits for an item's gate until `deadline` at the latest; the result does not own the lock if that has passed. */
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

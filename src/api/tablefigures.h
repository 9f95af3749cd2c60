#ifndef QUORVA_API_TABLEFIGURES_H
#define QUORVA_API_TABLEFIGURES_H

#include "api/operation.h"
#include "api/tabledescription.h"

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace Api {

/**
 * How many items tables have. Nobody keeps that number, so the items are counted: all of a table, or as many as a
 * moment allows. The table's items are spread over its data files evenly, and a scan takes one file after the other, so
 * the rest is estimated from the files that it has passed. A number that took long to find is given out again for
 * ten times as long. Any thread.
 */
class ItemCounts {
public:
    static constexpr std::chrono::milliseconds Moment{200};
    static constexpr std::chrono::milliseconds Long{20};
    static constexpr int Reuse = 10;

    [[nodiscard]] Failure count(const Table& table, Context& context, long long* items);

private:
    struct Known {
        long long items = 0;
        std::chrono::system_clock::time_point until;
    };

    std::mutex mutex_;
    std::map<std::string, Known, std::less<>> known_; // guarded by mutex_: by a table's real name and id
};

/** Writes an object with one member, the table's description with its present figures. */
[[nodiscard]] Failure describe(const Table& table, std::string_view member, Context& context, JsonWriter* reply);

} // namespace Api

#endif

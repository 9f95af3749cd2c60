#ifndef QUORVA_BENCH_COMMON_WORKLOAD_H
#define QUORVA_BENCH_COMMON_WORKLOAD_H

#include <QByteArray>
#include <QVariantMap>

#include <cstdint>
#include <optional>
#include <string>

/**
 * The workload of all benchmark programs, so that their rates can be compared: the operations, and the items that they
 * work on.
 *
 * Items are numbered. Item 4711 has the hash key "h0000047" and the range key "r11": a hash key has a hundred items,
 * and all keys have the same length, so that only the digits in a request have to be replaced.
 */
namespace Bench {

inline constexpr unsigned ItemsPerHashKey = 100; // also what a query asks for
inline constexpr unsigned ItemsPerPage = 128;    // of a scan
inline constexpr unsigned ItemsPerBatch = 25;    // neighbours, of one hash key
inline constexpr unsigned HashDigits = 7;
inline constexpr unsigned RangeDigits = 2;

inline constexpr const char* HashAttribute = "customer";
inline constexpr const char* RangeAttribute = "entry";
inline constexpr const char* CountAttribute = "count"; // the attribute that updates add to

enum class Operation {
    Put,    // replaces an item by itself
    Get,    // an item
    Update, // adds 1 to one attribute
    Mixed,  // gets and puts in equal numbers
    Query,  // all items of a hash key
    Scan,   // a page from a random item on, which crosses partitions
    Batch   // puts items in one transaction
};

/** By the operation's name in lower case. */
std::optional<Operation> operationNamed(const std::string& name);

/** Names for a help text, "put, get, ...". */
std::string operationNames();

/** Items of a table: how many, and how large. */
struct Workload {
    unsigned items = 10000; // in whole hash keys, see isValid()
    unsigned itemBytes = 1024;

    /** Whether there are at least two hash keys, all complete, and no more than the digits can number. */
    bool isValid() const;

    /** An item without its key attributes. Its JSON text has `itemBytes`, or a little more if that is very small. */
    QVariantMap item() const;
};

/** The keys of an item. */
QByteArray hashKey(unsigned item);
QByteArray rangeKey(unsigned item);

/** Writes `number` in exactly `digits` decimal digits. */
void writeDigits(unsigned number, unsigned digits, char* to);

/** A fast generator of numbers that are random enough to choose items with. For one thread. */
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed * 0x9e3779b97f4a7c15U + 1) {}

    /** A number below `limit`. */
    unsigned below(unsigned limit)
    {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return static_cast<unsigned>(((state_ >> 32) * limit) >> 32);
    }

private:
    std::uint64_t state_; // never 0
};

/** The first item that an operation works on: any, the first of a hash key, or the first of a batch. */
unsigned chooseItem(Operation operation, unsigned items, Random& random);

} // namespace Bench

#endif

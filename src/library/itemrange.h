#ifndef QUORVA_ITEMRANGE_H
#define QUORVA_ITEMRANGE_H

#include <quorva/export.h>
#include <quorva/result.h>
#include <quorva/values.h>

#include <cstddef>
#include <iterator>
#include <memory>

namespace Quorva {

class Connection;
class RangeReader;

/**
 * All items that a query or scan finds, fetched page by page during iteration. It can be iterated over once. It ends
 * early if a page cannot be read, so check result() afterwards:
 *
 *     Quorva::ItemRange orders = connection.queryAll("shop|orders", "abc");
 *     for (const Quorva::Item& order : orders)
 *         total += Quorva::number(order, "total").value_or(0);
 *     if (!orders.result())
 *         qWarning() << orders.result().errorText();
 *
 * Each page is one request, so the range is not a snapshot: concurrent writes may or may not be seen. The connection
 * must not be moved or destroyed while the range exists; it may carry other requests between two items. The range and
 * its connection are for one thread at a time. The option countOnly is ignored.
 */
class QUORVA_EXPORT ItemRange {
public:
    class QUORVA_EXPORT Iterator {
    public:
        using iterator_concept = std::input_iterator_tag;
        using difference_type = std::ptrdiff_t;
        using value_type = Item;

        const Item& operator*() const;
        const Item* operator->() const { return &**this; }
        Iterator& operator++();
        void operator++(int) { ++*this; }
        bool operator==(std::default_sentinel_t) const;

    private:
        friend class ItemRange;
        explicit Iterator(RangeReader* reader) : reader_(reader) {}

        RangeReader* reader_; // the range's
    };

    ~ItemRange();
    ItemRange(const ItemRange&) = delete;
    ItemRange& operator=(const ItemRange&) = delete;
    ItemRange(ItemRange&& other) noexcept;
    ItemRange& operator=(ItemRange&& other) noexcept;

    /** The current position: the first item if nothing has been read yet. */
    Iterator begin();
    // Not static, as ends of ranges are not. NOLINTNEXTLINE(readability-convert-member-functions-to-static)
    std::default_sentinel_t end() const { return {}; }

    /** The result of the latest request; a success at the end if all items were read. */
    const Result& result() const;

private:
    friend class Connection;
    QUORVA_INTERNAL explicit ItemRange(std::unique_ptr<RangeReader> reader);

    std::unique_ptr<RangeReader> reader_;
};

} // namespace Quorva

#endif

#include "api/itempage.h"

#include "api/itemio.h"
#include "api/storedkeys.h"
#include "items/itemsize.h"

namespace Api {

namespace {

constexpr std::size_t PageBytes = 1024 * 1024;

/** Writes one page. */
class PageWriter {
public:
    PageWriter(const Table& table, const ItemPage& page, JsonWriter* reply) : table_(table), page_(page), reply_(reply)
    {}

    /** Examines items until the walk ends or the page is full. */
    Failure run(ItemWalk* walk)
    {
        if (!page_.isCountOnly) {
            putName("Items", reply_);
            reply_->StartArray();
        }
        while (!isFull()) {
            if (Failure failure = walk->next())
                return failure;
            if (walk->isAtEnd() || !take(walk->item()))
                break;
        }
        if (!page_.isCountOnly)
            reply_->EndArray();
        writeFigures();
        return std::nullopt;
    }

    std::size_t bytes() const { return bytes_; }

private:
    bool isFull() const { return page_.limit && examined_ == *page_.limit; }

    /** False if the item does not fit. */
    bool take(const Items::Item& item)
    {
        const std::size_t size = Items::sizeOfItem(item);
        isCut_ = examined_ > 0 && bytes_ + size > PageBytes;
        if (isCut_)
            return false;
        bytes_ += size;
        ++examined_;
        last_ = ItemKeys::only(table_, item);
        if (page_.filter && !Expressions::holds(*page_.filter, &item))
            return true;
        ++count_;
        if (!page_.isCountOnly)
            writeItem(item, page_.projection, reply_);
        return true;
    }

    void writeFigures()
    {
        put("Count", count_, reply_);
        put("ScannedCount", static_cast<long long>(examined_), reply_);
        if (!isCut_ && !isFull())
            return;
        putName("LastEvaluatedKey", reply_);
        Items::writeItem(last_, reply_);
    }

    const Table& table_;
    const ItemPage& page_;
    JsonWriter* const reply_;
    std::size_t examined_ = 0;
    std::size_t bytes_ = 0; // of the items examined
    long long count_ = 0;   // items that passed the filter
    Items::Item last_;      // the keys of the last item examined
    bool isCut_ = false;    // there are more items than fit
};

} // namespace

Failure writePage(ItemWalk* walk, const Table& table, const ItemPage& page, PageFigures* figures, JsonWriter* reply)
{
    PageWriter writer(table, page, reply);
    if (Failure failure = writer.run(walk))
        return failure;
    figures->bytes = writer.bytes();
    return std::nullopt;
}

} // namespace Api

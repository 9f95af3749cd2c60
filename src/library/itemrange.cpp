#include "quorva/itemrange.h"

#include "library/rangereader.h"

namespace Quorva {

const Item& ItemRange::Iterator::operator*() const
{
    return reader_->item();
}

ItemRange::Iterator& ItemRange::Iterator::operator++()
{
    reader_->advance();
    return *this;
}

bool ItemRange::Iterator::operator==(std::default_sentinel_t) const
{
    return reader_->atEnd();
}

ItemRange::ItemRange(std::unique_ptr<RangeReader> reader) : reader_(std::move(reader)) {}

ItemRange::~ItemRange() = default;
ItemRange::ItemRange(ItemRange&& other) noexcept = default;
ItemRange& ItemRange::operator=(ItemRange&& other) noexcept = default;

ItemRange::Iterator ItemRange::begin()
{
    reader_->start();
    return Iterator(reader_.get());
}

const Result& ItemRange::result() const
{
    return reader_->result();
}

} // namespace Quorva

#include "records/recordbuffers.h"

#include <algorithm>
#include <cstring>

namespace {

char* allocate(std::size_t bytes)
{
    return static_cast<char*>(std::malloc(bytes));
}

} // namespace

RecordBuffers::RecordBuffers(const QByteArray& key) : keyBytes_(key)
{
    const auto capacity = std::max<u_int32_t>(SmallBytes, static_cast<u_int32_t>(key.size()) + 4);
    keyMemory_.reset(allocate(capacity));
    valid_ = keyMemory_ != nullptr;
    if (!valid_)
        return;
    key_.set_ulen(capacity);
    key_.set_flags(DB_DBT_USERMEM);
    fillKey();
}

bool RecordBuffers::allocateData(u_int32_t bytes)
{
    dataMemory_.reset(); // first, so that the two never coexist
    dataMemory_.reset(allocate(bytes));
    valid_ = valid_ && dataMemory_ != nullptr;
    data_.set_data(dataMemory_.get());
    data_.set_ulen(dataMemory_ ? bytes : 0);
    data_.set_flags(DB_DBT_USERMEM);
    return valid_;
}

void RecordBuffers::fillKey()
{
    std::memset(keyMemory_.get(), 0, static_cast<std::size_t>(keyBytes_.size()) + 4);
    std::memcpy(keyMemory_.get(), keyBytes_.constData(), static_cast<std::size_t>(keyBytes_.size()));
    key_.set_data(keyMemory_.get());
    key_.set_size(static_cast<u_int32_t>(keyBytes_.size()));
}

bool RecordBuffers::grow()
{
    fillKey();
    return allocateData(LargeBytes);
}

QByteArray RecordBuffers::dataBytes() const
{
    return QByteArray::fromRawData(static_cast<const char*>(data_.get_data()), data_.get_size());
}

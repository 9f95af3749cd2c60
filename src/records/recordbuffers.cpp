#include "records/recordbuffers.h"

#include <algorithm>
#include <cstring>

// cppcheck-suppress uninitMemberVar ; the buffers: only what was written is read
RecordBuffers::RecordBuffers(const QByteArray& key) : keyBytes_(key)
{
    const auto capacity = std::max<u_int32_t>(SmallBytes, static_cast<u_int32_t>(key.size()) + 4);
    key_.set_data(keyMemory_.provide(capacity));
    valid_ = key_.get_data() != nullptr;
    if (!valid_)
        return;
    key_.set_ulen(capacity);
    key_.set_flags(DB_DBT_USERMEM);
    fillKey();
}

bool RecordBuffers::allocateData(u_int32_t bytes)
{
    char* const memory = dataMemory_.provide(bytes);
    valid_ = valid_ && memory != nullptr;
    data_.set_data(memory);
    data_.set_ulen(memory != nullptr ? bytes : 0);
    data_.set_flags(DB_DBT_USERMEM);
    return valid_;
}

void RecordBuffers::fillKey()
{
    const auto size = static_cast<std::size_t>(keyBytes_.size());
    auto* const memory = static_cast<char*>(key_.get_data());
    std::memcpy(memory, keyBytes_.constData(), size);
    std::memset(memory + size, 0, 4);
    key_.set_size(static_cast<u_int32_t>(size));
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

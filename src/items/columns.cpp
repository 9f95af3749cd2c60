#include "items/columns.h"

#include <zlib.h>

#include <algorithm>
#include <utility>

namespace Items {

namespace {

constexpr char Version = 1; // stored

void appendNumber(std::string* to, std::size_t number)
{
    for (; number > 0x7f; number >>= 7)
        *to += static_cast<char>(0x80 | (number & 0x7f));
    *to += static_cast<char>(number);
}

/** Takes a number from the front; empty if there is none, or if it is longer than a column can need. */
std::optional<std::size_t> takeNumber(std::string_view* from)
{
    constexpr std::size_t MostBytes = 4;
    std::size_t number = 0;
    for (std::size_t i = 0; i < std::min(MostBytes, from->size()); ++i) {
        const auto byte = static_cast<unsigned char>((*from)[i]);
        number |= static_cast<std::size_t>(byte & 0x7f) << (7 * i);
        if ((byte & 0x80) == 0) {
            from->remove_prefix(i + 1);
            return number;
        }
    }
    return {};
}

/** The column compressed, or as it is if that is not longer. */
std::string compressed(const std::string& column)
{
    uLongf size = compressBound(static_cast<uLong>(column.size()));
    std::string packed(size, '\0');
    const int rc =
        compress2(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(column.data()),
                  static_cast<uLong>(column.size()), Z_DEFAULT_COMPRESSION);
    packed.resize(size);
    return rc == Z_OK && packed.size() < column.size() ? packed : column;
}

std::optional<std::string> uncompressed(std::string_view packed, std::size_t bytes)
{
    if (packed.size() == bytes)
        return std::string(packed);
    std::string column(bytes, '\0');
    uLongf size = bytes;
    const int rc = uncompress(reinterpret_cast<Bytef*>(column.data()), &size,
                              reinterpret_cast<const Bytef*>(packed.data()), static_cast<uLong>(packed.size()));
    if (rc != Z_OK || size != bytes)
        return {};
    return column;
}

} // namespace

void Columns::putNumber(Column column, std::size_t number)
{
    appendNumber(&columns_[column], number);
}

std::optional<std::string> Columns::bytes() const
{
    std::string bytes(1, Version);
    for (const std::string& column : columns_) {
        if (column.size() > MostColumnBytes)
            return {};
        const std::string packed = compressed(column);
        appendNumber(&bytes, column.size());
        appendNumber(&bytes, packed.size());
        bytes += packed;
    }
    return bytes;
}

std::optional<Columns> Columns::fromBytes(std::string_view bytes)
{
    if (bytes.empty() || bytes.front() != Version)
        return {};
    bytes.remove_prefix(1);
    Columns columns;
    for (std::string& column : columns.columns_) {
        const auto size = takeNumber(&bytes);
        const auto packedSize = takeNumber(&bytes);
        if (!size || *size > MostColumnBytes || !packedSize || *packedSize > std::min(*size, bytes.size()))
            return {};
        auto read = uncompressed(bytes.substr(0, *packedSize), *size);
        if (!read)
            return {};
        column = std::move(*read);
        bytes.remove_prefix(*packedSize);
    }
    if (!bytes.empty())
        return {};
    return columns;
}

ColumnReader::ColumnReader(const Columns& columns)
{
    std::copy(columns.columns_.begin(), columns.columns_.end(), rest_.begin());
}

unsigned ColumnReader::takeByte(Columns::Column column)
{
    const std::string_view byte = takeBytes(column, 1);
    return byte.empty() ? 0 : static_cast<unsigned char>(byte.front());
}

std::string_view ColumnReader::takeBytes(Columns::Column column, std::size_t count)
{
    std::string_view& rest = rest_[column];
    if (count > rest.size()) {
        isWhole_ = false;
        return {};
    }
    const std::string_view bytes = rest.substr(0, count);
    rest.remove_prefix(count);
    return bytes;
}

std::size_t ColumnReader::takeNumber(Columns::Column column)
{
    const auto number = Items::takeNumber(&rest_[column]);
    isWhole_ = isWhole_ && number.has_value();
    return number.value_or(0);
}

bool ColumnReader::isDone() const
{
    return isWhole_ && std::all_of(rest_.begin(), rest_.end(), [](std::string_view rest) { return rest.empty(); });
}

} // namespace Items

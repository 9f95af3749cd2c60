#ifndef QUORVA_ITEMS_COLUMNS_H
#define QUORVA_ITEMS_COLUMNS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Items {

/**
 * The columns of a packed item, each of similar bytes, so that compressing them one by one saves most. The result is
 * stored on disk: do not change it. Its grammar is in docs/storage-format.md. Value types, like std::string; for one
 * thread at a time.
 */
class Columns {
public:
    enum Column { Structure, Shared, Lengths, Text, Binary, NumberHeads, Exponents, DigitPairs, Count };

    /** More than any item needs in one column, yet harmless to allocate if damaged bytes ask for it. */
    static constexpr std::size_t MostColumnBytes = 1 << 20;

    void putByte(Column column, unsigned byte) { columns_[column] += static_cast<char>(byte); }
    void putBytes(Column column, std::string_view bytes) { columns_[column] += bytes; }
    /** Seven bits in each byte, the least significant first; all bytes but the last have the eighth bit set. */
    void putNumber(Column column, std::size_t number);

    /** The bytes of all columns; each is compressed if that makes it shorter. Empty if one is longer than a column. */
    std::optional<std::string> bytes() const;

    /** The columns that bytes() has made these of. Empty for other bytes. */
    static std::optional<Columns> fromBytes(std::string_view bytes);

private:
    std::array<std::string, Count> columns_;

    friend class ColumnReader;
};

/** Takes columns apart in the order in which they were filled. Reading past the end gives zeros, and is remembered. */
class ColumnReader {
public:
    /** `columns` must outlive this. */
    explicit ColumnReader(const Columns& columns);

    unsigned takeByte(Columns::Column column);
    std::string_view takeBytes(Columns::Column column, std::size_t count);
    std::size_t takeNumber(Columns::Column column);

    /** False if anything was read past the end. */
    bool isWhole() const { return isWhole_; }
    /** True if everything has been read, and nothing past the end. */
    bool isDone() const;

private:
    std::array<std::string_view, Columns::Count> rest_;
    bool isWhole_ = true;
};

} // namespace Items

#endif

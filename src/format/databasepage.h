#ifndef QUORVA_FORMAT_DATABASEPAGE_H
#define QUORVA_FORMAT_DATABASEPAGE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/**
 * The pages of Berkeley DB's database files, as far as this system reads them itself. On disk, do not change. Pure; any
 * thread.
 *
 * The first page, and that of each sub-database's tree ("metadata"):
 *
 *     offset   0   file number and, at 4, offset of the log record of the last change; 0 without a log
 *              8   the page's own number
 *             12   the magic number, which identifies the kind of database
 *             20   the size of a page
 *             24   one byte, not 0 if the file is encrypted
 *             26   one byte of flags: 1, pages have checksums
 *             48   flags of a tree: 32, its records are sub-databases: the name, and the number of the metadata page
 *             52   20 bytes that identify the database, the same in all of its copies
 *             88   the number of the tree's root page
 *
 * The other pages of a tree:
 *
 *              8   the page's own number, at 12 the previous and at 16 the next page of its level
 *             20   16 bits: the number of items; keys and values in turn on a leaf
 *             22   16 bits: on a page of a chain, the number of bytes from 26 on
 *             25   one byte, the kind of page
 *             26   16 bits for each item: its offset on the page
 *
 * An item of an inner page has the number of a page at 4. One of a leaf has its length in 16 bits and its kind in a
 * byte, then its bytes or, for one that fills a chain of pages, the number of the first at 4 and the length at 8.
 *
 * Numbers have 32 bits, in the byte order of the machine that created the file, but those of sub-databases are
 * big-endian.
 */
namespace DatabasePage {

/** The first bytes of a file, as read from it. */
struct Start {
    std::uint32_t logFile = 0;
    std::uint32_t logOffset = 0;
    std::uint32_t page = 0;
    std::uint32_t magic = 0;
};
static_assert(sizeof(Start) == 16);

inline constexpr std::size_t IdOffset = 52;
inline constexpr std::size_t IdLength = 20;

/** True for the magic number of any kind of database, in either byte order: files move between machines. */
bool isMagic(std::uint32_t number);

/** The part of a metadata page that is used here. */
inline constexpr std::size_t MetadataBytes = 92;

/** The value of a sub-database's record, and the number in it. */
inline constexpr std::size_t NumberBytes = 4;
std::uint32_t subDatabasePage(std::string_view value);

/** An item of a page. */
struct Item {
    enum Kind { None, Bytes, Chain };

    Kind kind = None;       // None: deleted, of another kind, or damaged
    std::string_view bytes; // of the page
    std::uint32_t page = 0; // where the chain begins; on an inner page, the next one down
    std::uint32_t chainBytes = 0;
};

/** A page, or the beginning of one. Nothing is trusted: anything outside the page counts as 0 or empty. */
class Page {
public:
    std::string bytes;

    /** Takes the byte order from a metadata page. */
    void detectByteOrder();
    bool isSwapped() const { return swapped_; }
    void setSwapped(bool swapped) { swapped_ = swapped; }

    /** Whether this is the metadata page of a tree without checksums and encryption. */
    bool isReadableTree() const;
    std::size_t pageBytes() const { return number(20); }
    bool hasSubDatabases() const;
    std::uint32_t root() const { return number(88); }

    bool isInner() const { return kind() == 3; }
    bool isLeaf() const { return kind() == 5; }
    unsigned items() const { return half(20); }
    Item item(unsigned index) const;
    std::uint32_t next() const { return number(16); }

    /** The bytes of a page of a chain; empty if it is none. */
    std::string_view chainPart() const;

private:
    unsigned kind() const { return byte(25); }
    unsigned byte(std::size_t offset) const;
    unsigned half(std::size_t offset) const;
    std::uint32_t number(std::size_t offset) const;
    std::string_view part(std::size_t offset, std::size_t size) const;

    bool swapped_ = false; // against this machine's
};

} // namespace DatabasePage

#endif

#include "storage/databaserecord.h"

#include "base/descriptor.h"
#include "base/fileio.h"
#include "format/databasepage.h"

#include <cstdint>

#include <fcntl.h>

namespace DatabaseRecord {

namespace {

using DatabasePage::Item;
using DatabasePage::Page;

/** The pages of one file. */
class Pages {
public:
    explicit Pages(const std::filesystem::path& path)
        : file_(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC))
    {}

    /** Reads the first page, which says how to read the others. False unless all of them can be read. */
    bool open(Page* first)
    {
        Page start;
        if (!readBytes(0, DatabasePage::MetadataBytes, &start))
            return false;
        start.detectByteOrder();
        if (!start.isReadableTree())
            return false;
        pageBytes_ = start.pageBytes();
        swapped_ = start.isSwapped();
        return read(0, first);
    }

    /** False for a page that is not there. */
    bool read(std::uint32_t number, Page* page)
    {
        if (!readBytes(std::uint64_t{number} * pageBytes_, pageBytes_, page))
            return false;
        page->setSwapped(swapped_);
        return true;
    }

private:
    bool readBytes(std::uint64_t offset, std::size_t size, Page* page)
    {
        page->bytes.resize(size);
        std::size_t got = 0;
        return file_.isOpen() &&
               Base::readAt(file_.number(), static_cast<off_t>(offset), page->bytes.data(), size, &got) == 0 &&
               got == size;
    }

    Base::Descriptor file_;
    std::size_t pageBytes_ = 0;
    bool swapped_ = false;
};

/** Reads a value that fills pages of its own. */
std::optional<std::string> readChain(Pages& pages, const Item& item, std::size_t most)
{
    if (item.chainBytes > most)
        return std::nullopt;
    std::string value;
    Page page;
    for (std::uint32_t number = item.page; value.size() < item.chainBytes; number = page.next()) {
        if (number == 0 || !pages.read(number, &page))
            return std::nullopt;
        const std::string_view part = page.chainPart();
        if (part.empty())
            return std::nullopt; // not such a page: the chain would never end
        value.append(part.substr(0, item.chainBytes - value.size()));
    }
    return value;
}

std::optional<std::string> valueOf(Pages& pages, const Item& item, std::size_t most)
{
    if (item.kind == Item::Chain)
        return readChain(pages, item, most);
    if (item.kind == Item::Bytes && item.bytes.size() <= most)
        return std::string(item.bytes);
    return std::nullopt;
}

/** Looks through the leaves of a tree, the leftmost first. `metadata`: the tree's own first page. */
std::optional<std::string> find(Pages& pages, const Page& metadata, std::string_view key, std::size_t most)
{
    constexpr int MostPages = 64; // a damaged file may send us in circles
    Page page;
    std::uint32_t number = metadata.root();
    for (int visited = 0; visited < MostPages && number != 0; ++visited) {
        if (!pages.read(number, &page))
            return std::nullopt;
        if (page.isInner()) {
            number = page.item(0).page;
            continue;
        }
        if (!page.isLeaf())
            return std::nullopt;
        for (unsigned i = 0; i + 1 < page.items(); i += 2) {
            const Item found = page.item(i);
            if (found.kind == Item::Bytes && found.bytes == key)
                return valueOf(pages, page.item(i + 1), most);
        }
        number = page.next();
    }
    return std::nullopt;
}

} // namespace

Found read(const std::filesystem::path& file, std::string_view subDatabase, std::string_view key, std::size_t most)
{
    Pages pages(file);
    Page metadata;
    if (!pages.open(&metadata) || !metadata.hasSubDatabases())
        return {};
    const auto place = find(pages, metadata, subDatabase, DatabasePage::NumberBytes);
    if (!place || place->size() != DatabasePage::NumberBytes)
        return {};
    Page own;
    if (!pages.read(DatabasePage::subDatabasePage(*place), &own) || !own.isReadableTree())
        return {true, std::nullopt};
    return {true, find(pages, own, key, most)};
}

} // namespace DatabaseRecord

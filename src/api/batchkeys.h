#ifndef QUORVA_API_BATCHKEYS_H
#define QUORVA_API_BATCHKEYS_H

#include "api/error.h"
#include "api/keyrange.h"
#include "api/server.h"
#include "api/tabledescription.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace Api {

/**
 * The keys that a batch names, none of them twice. A table has as many names as its directory has spellings, and only
 * the server knows which of these denote one directory. It is asked if the same key of tables with the same name is
 * named in directories that are spelled differently; otherwise there is no wait. For one thread at a time.
 */
class BatchKeys {
public:
    /** The server must outlive the object. */
    explicit BatchKeys(const Server& server) : server_(server) {}

    /** Fails if the key has been added before, for the same table by whatever name. */
    [[nodiscard]] Failure add(const Table& table, const StoredKey& key);

private:
    bool areSame(std::string_view directory, std::string_view other);
    const std::string& canonicalPath(std::string_view directory);

    const Server& server_;
    using KeyInTable = std::pair<std::string, StoredKey>;           // the table without its directory
    std::map<KeyInTable, std::set<std::string, std::less<>>> keys_; // with directories, as they are spelled
    std::map<std::string, std::string, std::less<>> paths_;         // the canonical path of a directory
};

} // namespace Api

#endif

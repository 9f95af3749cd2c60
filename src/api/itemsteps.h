#ifndef QUORVA_API_ITEMSTEPS_H
#define QUORVA_API_ITEMSTEPS_H

#include "api/error.h"
#include "api/itemstore.h"
#include "api/keyrange.h"
#include "api/replyjson.h"
#include "api/server.h"
#include "api/tabledescription.h"
#include "items/json.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Api {

/** What a request sends to the server. */
struct ServerCall {
    ::Operations::Operation operation;
    std::string body;
};

/**
 * A request about one item, in steps that can be taken at different times, because most of these requests take a single
 * exchange with the server: no thread has to wait between the steps before it and the one after it. For one request,
 * which is passed to each step, and for one thread at a time.
 */
class ItemSteps {
public:
    virtual ~ItemSteps() = default;

    /** Reads what does not depend on the table. The first step. */
    [[nodiscard]] virtual Failure read(const Items::JsonValue& request) = 0;
    /** Reads the rest, and composes the call if a single one suffices. Neither this nor read() waits. */
    [[nodiscard]] virtual Failure prepare(const Items::JsonValue& request, std::shared_ptr<const Table> table) = 0;
    /** Carries the request out with as many exchanges as it takes, if there is no call, and waits for them. */
    [[nodiscard]] virtual Failure carryOut(const ItemStore&) { return std::nullopt; }
    /** Writes the reply, one object; `reply` is that to the call, a success. Does not wait. The last step. */
    [[nodiscard]] virtual Failure finish(const Items::JsonValue& request, const ItemStore& store,
                                         const ServerReply& reply, JsonWriter* writer) = 0;

    /**
     * The same for the text of a reply in a form that need not be parsed; true if it has appended the JSON of the reply
     * to the request. For any other text, finish() has to be called.
     */
    [[nodiscard]] virtual bool finishPlain(const Items::JsonValue&, std::string_view, std::string*) { return false; }

    /** Of the request, after prepare(). */
    const std::shared_ptr<const Table>& table() const { return table_; }
    const std::optional<ServerCall>& call() const { return call_; }

protected:
    std::shared_ptr<const Table> table_;
    StoredKey key_;
    std::optional<ServerCall> call_;
};

[[nodiscard]] std::unique_ptr<ItemSteps> getItemSteps();
[[nodiscard]] std::unique_ptr<ItemSteps> putItemSteps();
[[nodiscard]] std::unique_ptr<ItemSteps> deleteItemSteps();

} // namespace Api

#endif

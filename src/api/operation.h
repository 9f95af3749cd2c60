#ifndef QUORVA_API_OPERATION_H
#define QUORVA_API_OPERATION_H

#include "api/error.h"
#include "api/replyjson.h"
#include "api/server.h"
#include "items/json.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace Api {

struct Shape;
class ItemSteps;
class TableCatalog;

struct Settings {
    /** Where tables without a directory in their name are. The server reads it relative to its working directory. */
    std::string directory = "main";
    std::function<std::chrono::system_clock::time_point()> now = &std::chrono::system_clock::now;
};

/** What an operation uses. All threads share the objects that it refers to. */
struct Context {
    const Server& server;
    TableCatalog& tables;
    const Settings& settings;
    std::string_view host; // as the client named it: "127.0.0.1:8000"
};

/**
 * Executes a request that has the operation's shape, and writes the reply, one object. What it has written before a
 * failure is discarded. Any thread; it may wait for the server.
 */
using Handler = Failure (*)(const Items::JsonValue& request, Context& context, JsonWriter* reply);

/** Makes the steps that execute a request. */
using StepsMaker = std::unique_ptr<ItemSteps> (*)();

struct Operation {
    std::string_view name;
    const Shape* input;
    Handler handler; // null if there are steps
    StepsMaker steps = nullptr;
};

/** The operation with this name, without the version prefix; null if it is not served. */
const Operation* findOperation(std::string_view name);

/** The reply to an operation that is not served; it says why if the API has the operation. */
Error refusalOf(std::string_view name);

} // namespace Api

#endif

#ifndef QUORVA_API_OPERATION_H
#define QUORVA_API_OPERATION_H

#include "api/error.h"
#include "api/jsonwriter.h"
#include "api/server.h"

#include <rapidjson/document.h>

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

namespace Api {

struct Shape;
class TableCatalog;

struct Settings {
    /** Where tables without a directory in their name are. The server reads it relative to its working directory. */
    std::string directory = "main";
    std::function<std::chrono::system_clock::time_point()> now = &std::chrono::system_clock::now;
};

/** What an operation works with. The objects behind the references are shared by all threads. */
struct Context {
    const Server& server;
    TableCatalog& tables;
    const Settings& settings;
    std::string_view host; // that the client named: "127.0.0.1:8000"
};

/**
 * Carries out a request that has the operation's shape, and writes the reply, one object. What it has written counts
 * for nothing when it fails. Any thread; it may wait for the server.
 */
using Handler = Failure (*)(const rapidjson::Value& request, Context& context, JsonWriter* reply);

struct Operation {
    std::string_view name;
    const Shape* input;
    Handler handler;
};

/** The operation of this name, without a version in front; null if it is not served. */
const Operation* findOperation(std::string_view name);

/** What to answer for an operation that is not served: why, if the API has it. */
Error refusalOf(std::string_view name);

} // namespace Api

#endif

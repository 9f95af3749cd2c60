#include "api/tablecatalog.h"

#include "api/directorylist.h"
#include "api/directoryroom.h"
#include "api/members.h"
#include "api/serverbodies.h"
#include "format/tablename.h"
#include "protocol/envelope.h"
#include "protocol/operations.h"

#include <utility>

namespace Api {

namespace {

/** The name in an ARN, "arn:aws:dynamodb:REGION:ACCOUNT:table/NAME"; any other text as it is. */
std::string_view withoutArn(std::string_view name)
{
    constexpr std::string_view Start = "arn:";
    constexpr std::string_view Kind = ":table/";
    const std::size_t kind = name.find(Kind);
    return name.starts_with(Start) && kind != std::string_view::npos ? name.substr(kind + Kind.size()) : name;
}

} // namespace

TableName TableCatalog::resolve(std::string_view requested) const
{
    const std::string_view name = withoutArn(requested);
    const std::string front = settings_->directory + '|';
    if (name.find('|') == std::string_view::npos)
        return {front + std::string(name), std::string(name)};
    return {std::string(name), std::string(name.starts_with(front) ? name.substr(front.size()) : name)};
}

Failure TableCatalog::find(std::string_view requested, std::shared_ptr<const Table>* table)
{
    const TableName name = resolve(requested);
    bool isKnown = false;
    *table = remembered(name.real, &isKnown);
    return *table != nullptr ? std::nullopt : read(name, isKnown, table);
}

std::shared_ptr<const Table> TableCatalog::findCached(std::string_view requested) const
{
    bool isKnown = false;
    return remembered(resolve(requested).real, &isKnown);
}

Failure TableCatalog::findNamed(std::string_view requested, std::shared_ptr<const Table>* table)
{
    Failure failure = find(requested, table);
    if (failure && failure->type == Errors::resourceNotFound().type)
        failure = Errors::tableNotFound(resolve(requested).shown);
    return failure;
}

/** `isKnown`: the table was in the cache, even if its description has expired. */
std::shared_ptr<const Table> TableCatalog::remembered(const std::string& fullName, bool* isKnown) const
{
    const auto now = settings_->now();
    const std::lock_guard lock(mutex_);
    const auto found = tables_.find(fullName);
    *isKnown = found != tables_.end();
    if (!*isKnown || now < found->second.since || now - found->second.since >= Memory)
        return nullptr;
    return found->second.table;
}

void TableCatalog::forget(const TableName& name)
{
    const std::lock_guard lock(mutex_);
    tables_.erase(name.real);
    ++drops_;
}

std::uint64_t TableCatalog::drops() const
{
    const std::lock_guard lock(mutex_);
    return drops_;
}

/**
 * Caches a description that was requested when there had been this many drops. Since then a table may have been changed
 * or removed by a request that has been answered: its client must not get to see the older description.
 */
void TableCatalog::remember(const TableName& name, const Remembered& table, std::uint64_t drops)
{
    const std::lock_guard lock(mutex_);
    if (drops != drops_)
        return;
    const auto isOld = [&](const auto& cached) { return table.since - cached.second.since >= Memory; };
    if (tables_.size() >= MostCached && !tables_.contains(name.real))
        std::erase_if(tables_, isOld);
    if (tables_.size() < MostCached || tables_.contains(name.real))
        tables_.insert_or_assign(name.real, table);
}

/**
 * Reads a description from the server. The server makes an environment of any directory with a table that it is asked
 * to describe, so it is asked only if the directory has that table's files; `isKnown`: it had them a moment ago.
 */
Failure TableCatalog::read(const TableName& name, bool isKnown, std::shared_ptr<const Table>* table)
{
    const auto since = settings_->now();
    const std::uint64_t dropsBefore = drops();
    if (!isKnown) {
        DirectoryList::Entry files;
        if (Failure failure = DirectoryList::find(*server_, name.real, &files))
            return failure;
        if (files.table.empty())
            return Errors::resourceNotFound();
    }
    ServerReply reply;
    if (Failure failure = server_->send(Operations::DescribeTable, RequestBodies::of("TableName", name.real), &reply))
        return failure;
    const Items::JsonValue* const description = member(reply.body(), "Table");
    if (reply.isError(ErrorTypes::InternalServerError))
        return DirectoryRoom::failureOf(*server_, reply, name.real);
    if (!reply.isSuccess() || description == nullptr) {
        const std::lock_guard lock(mutex_);
        tables_.erase(name.real);
        return Errors::resourceNotFound();
    }
    std::optional<Table> read = TableDescriptions::read(name, *description);
    if (!read)
        return Errors::internal("The description of the table " + name.shown +
                                " is not understood; a later version of quorva-http may have made it");
    *table = std::make_shared<const Table>(std::move(*read));
    remember(name, {*table, since}, dropsBefore);
    return std::nullopt;
}

Failure TableCatalog::create(const Table& table)
{
    if (const char* const reason = TableNames::refusal(TableNames::filePart(table.name.real)))
        return Errors::validation("A table cannot have the name " + table.name.shown + ": " + reason);
    const std::lock_guard changing(changes_);
    forget(table.name);
    std::shared_ptr<const Table> existing;
    Failure failure = find(table.name.real, &existing);
    if (!failure)
        return Errors::resourceInUse("Table already exists: " + table.name.shown);
    // The table should be missing, but not the directory.
    if (failure->message != Errors::resourceNotFound().message)
        return failure;
    return write(table);
}

/** Stores a description. The server's CreateTable replaces that of an existing table, and keeps its items. */
Failure TableCatalog::write(const Table& table)
{
    ServerReply reply;
    if (Failure failure = server_->send(Operations::CreateTable, TableDescriptions::creation(table), &reply))
        return failure;
    forget(table.name);
    return DirectoryRoom::failureOf(*server_, reply, table.name.real);
}

Failure TableCatalog::update(std::string_view requested, const Change& change, std::shared_ptr<const Table>* changed)
{
    const std::lock_guard changing(changes_);
    const TableName name = resolve(requested);
    forget(name);
    std::shared_ptr<const Table> present;
    if (Failure failure = findNamed(requested, &present))
        return failure;
    Table table = *present;
    if (Failure failure = change(&table))
        return failure;
    *changed = std::make_shared<const Table>(table);
    return write(table);
}

Failure TableCatalog::remove(std::string_view requested, std::shared_ptr<const Table>* removed)
{
    const std::lock_guard changing(changes_);
    forget(resolve(requested));
    if (Failure failure = findNamed(requested, removed))
        return failure;
    if ((*removed)->isProtected)
        return Errors::validation("Resource cannot be deleted as it is currently protected against deletion. Disable "
                                  "deletion protection first.");
    ServerReply reply;
    Failure failure =
        server_->send(Operations::DropTable, RequestBodies::of("TableName", (*removed)->name.real), &reply);
    forget((*removed)->name);
    return failure ? failure : reply.failure();
}

} // namespace Api

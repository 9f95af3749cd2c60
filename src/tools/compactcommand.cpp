#include "tools/compactcommand.h"

#include "format/partitions.h"
#include "protocol/administration.h"
#include "tools/arguments.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/replies.h"
#include "tools/session.h"
#include "tools/terminalline.h"
#include "tools/units.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <thread>
#include <utility>

namespace Ctl {

namespace {

// A pass moves pages to the front of the file, which lets the next one shorten it further. More passes gain nothing.
constexpr int MostPasses = 4;

std::string gained(std::uint64_t before, std::uint64_t after)
{
    return Units::bytes(before > after ? before - after : 0);
}

} // namespace

CompactCommand::CompactCommand(CLI::App* app)
    : Command(app, "compact", "Return the space of deleted items to the file system while the server is in use",
              "quorvactl compact 'build/shop|orders'")
{
    addDirectoryArgument(parser(), &target_, "The table, or a directory for all tables in it", "DIR|TABLE");
}

int CompactCommand::run(const ServerAddress& server)
{
    const Interruption interruption;
    Session session(server);
    std::vector<std::string> tables;
    if (const int code = findTables(&session, &tables))
        return code;
    TerminalLine line;
    for (const std::string& table : tables) {
        Sizes sizes;
        if (const int code = compactTable(&session, table, &sizes, &line))
            return code;
        TerminalLine::clear();
        if (Interruption::requested()) {
            complain("interrupted; " + table + " is intact, and " + gained(sizes.before, sizes.after) +
                     " of it was freed");
            return ExitErrorReply;
        }
        const int code = say("compacted " + table + ": " + gained(sizes.before, sizes.after) + " freed, " +
                             Units::bytes(sizes.after) + " left");
        if (code != ExitOk)
            return code;
    }
    return ExitOk;
}

int CompactCommand::findTables(Session* session, std::vector<std::string>* tables) const
{
    if (target_.find('|') != std::string::npos) {
        QVariantMap description;
        tables->push_back(target_);
        return session->describe(target_, &description);
    }
    QVariantMap reply;
    const int code =
        session->request(Operations::ListTables, QVariantMap{{"Directory", QString::fromStdString(target_)}}, &reply);
    const std::string directory = defaultDirectory();
    if (code == ExitErrorReply)
        complainReply("cannot list the tables of " + target_, reply,
                      directory.empty() || directory == target_
                          ? "the spelling; a relative path starts from the server's working directory"
                          : '\'' + directory + '|' + target_ + "', if this is a table");
    for (const QVariant& table : reply.value("Tables").toList())
        tables->push_back(table.toMap().value("TableName").toString().toStdString());
    return code;
}

int CompactCommand::compactTable(Session* session, const std::string& table, Sizes* sizes, TerminalLine* line)
{
    constexpr int DataFiles = Partitions::Count;
    for (int partition = 0; partition < DataFiles && !Interruption::requested(); ++partition) {
        line->show("compacting " + table + ": file " + std::to_string(partition + 1) + '/' + std::to_string(DataFiles) +
                   ", " + gained(sizes->before, sizes->after) + " freed");
        if (const int code = compactFile(session, table, partition, sizes))
            return code;
    }
    return ExitOk;
}

int CompactCommand::compactFile(Session* session, const std::string& table, int partition, Sizes* sizes)
{
    constexpr std::chrono::milliseconds Pause{50};
    QVariantMap body = Bodies::table(QString::fromStdString(table));
    body.insert(SpaceNames::Partition, partition);
    bool isFirst = true;
    std::uint64_t after = 0;
    bool hasMoved = false;
    for (int pass = 0; pass < MostPasses && !Interruption::requested();) {
        QVariantMap reply;
        if (const int code = session->request(Operations::CompactTable, body, &reply)) {
            if (code == ExitErrorReply)
                complainReply("cannot compact " + table, reply, "the server's log, which has the cause");
            return code;
        }
        if (std::exchange(isFirst, false))
            sizes->before += reply.value(SpaceNames::BytesBefore).toULongLong();
        after = reply.value(SpaceNames::BytesAfter).toULongLong();
        hasMoved = hasMoved || reply.value(SpaceNames::HasMoved).toBool();
        const bool isBusy = reply.value(SpaceNames::IsBusy).toBool();
        if (isBusy)
            std::this_thread::sleep_for(Pause);
        if (reply.contains(SpaceNames::NextKey)) {
            body.insert(SpaceNames::StartKey, reply.value(SpaceNames::NextKey));
        } else if (!isBusy) {
            body.remove(SpaceNames::StartKey);
            pass = std::exchange(hasMoved, false) ? pass + 1 : MostPasses;
        }
    }
    sizes->after += after;
    return ExitOk;
}

} // namespace Ctl

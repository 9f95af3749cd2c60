#include "common/commandline.h"
#include "common/workload.h"
#include "load/requests.h"

#include "net/bdbreqhandler_linux.h"
#include "storage/bdbobjtable.h"
#include "storage/settings.h"

#include <db_cxx.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string_view>

using namespace Bench;

namespace {

constexpr qsizetype PieceBytes = 4096; // as a worker receives them

/** One connection without its socket: the code that a request runs between the socket and Berkeley DB. */
class LoneConnection {
public:
    /** False if the reply is an error; it is then printed. */
    [[nodiscard]] bool run(const QByteArray& request)
    {
        int rc = 0;
        for (qsizetype at = 0; rc == 0 && at < request.size(); at += PieceBytes)
            rc = handler_.appendData(request.constData() + at,
                                     static_cast<unsigned>(std::min(PieceBytes, request.size() - at)));
        if (rc == 0)
            rc = handler_.handle();
        handler_.takeEnvironment().reset();
        if (rc == 0)
            rc = handler_.finishReply(0);
        const TransferBuffer& reply = handler_.sendBuffer();
        const std::string_view bytes(reply.data, reply.length);
        const bool success = rc == 0 && bytes.rfind(R"("__rc":200)") != std::string_view::npos;
        if (!success)
            std::fprintf(stderr, "request-cost: %.*s\n", static_cast<int>(bytes.size()), bytes.data());
        handler_.reset();
        return success;
    }

private:
    BDBObjTable environments_{1024};
    BDBReqHandler_linux handler_{1024, 256, &environments_, -1};
};

bool runAll(LoneConnection& connection, RequestMaker& requests, unsigned count)
{
    for (unsigned i = 0; i < count; ++i) {
        if (!connection.run(requests.next()))
            return false;
    }
    return true;
}

} // namespace

// Only running out of memory throws; the program ends then. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv)
{
    std::string name;
    std::string directory = "build/bench/cost";
    unsigned count = 10000;
    Workload workload;
    workload.items = 1000;
    CommandLine line(
        "Runs requests through the server's own code in one thread and without a network, for profiling tools: "
        "callgrind, heaptrack. See script/profile.");
    line.argument("OPERATION", name, operationNames());
    line.option("--directory", directory, "The environment's home; it must exist");
    line.option("-n,--requests", count, "How many");
    line.option("-k,--items", workload.items, "Items of the table");
    line.option("-i,--item-size", workload.itemBytes, "Bytes of an item's JSON");
    if (int code = 0; !line.parse(argc, argv, &code))
        return code;
    const auto operation = operationNamed(name);
    if (!operation || !workload.isValid()) {
        std::fputs("request-cost: no such operation, or no such items\n", stderr);
        return 1;
    }

    Settings::setTxnCommitFlags(DB_TXN_NOSYNC); // the time of the disk must not be measured
    const QByteArray table = QByteArray::fromStdString(std::filesystem::absolute(directory).string()) + "|items";
    LoneConnection connection;
    RequestMaker puts(table, Operation::Put, workload, 1);
    if (!connection.run(PreparedRequest(Operations::CreateTable, tableDescription(table), 0).bytes()))
        return 1;
    for (unsigned item = 0; item < workload.items; ++item) {
        if (!connection.run(puts.at(item)))
            return 1;
    }
    RequestMaker requests(table, *operation, workload, 2);
    const auto begin = std::chrono::steady_clock::now();
    if (!runAll(connection, requests, count))
        return 1;
    const std::chrono::duration<double, std::micro> spent = std::chrono::steady_clock::now() - begin;
    std::printf("%s: %.2f us each\n", name.c_str(), spent.count() / std::max(count, 1U));
    std::fflush(stdout);
    std::_Exit(0); // exits like the server; only the requests have been counted
}

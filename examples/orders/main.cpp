// Keeps the orders of a shop's customers: one item for each, by customer and date.
//
//     orders DIRECTORY [PORT]
//
// DIRECTORY is the table's directory. `quorvactl init DIRECTORY` creates it; the server must be allowed to write to it.

#include <quorva/connection.h>

#include <cstdio>
#include <cstdlib>

using namespace Quorva;

namespace {

/** Exits if a request failed for an unexpected reason. */
void require(const Result& result, const char* what)
{
    if (result.ok())
        return;
    std::fprintf(stderr, "%s: %s\n", what, qPrintable(result.errorText()));
    std::exit(EXIT_FAILURE);
}

void printOrders(ItemRange orders)
{
    qlonglong total = 0;
    for (const Item& order : orders) {
        std::printf("  %s %3lld\n", qPrintable(text(order, "date")), number(order, "total").value_or(0));
        total += number(order, "total").value_or(0);
    }
    require(orders.result(), "reading orders");
    std::printf("  altogether %lld\n", total);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: orders DIRECTORY [PORT]\n");
        return EXIT_FAILURE;
    }
    Server server;
    if (argc > 2)
        server.port = std::atoi(argv[2]);

    Connection connection;
    require(connection.open(server), "connecting");
    const QString table = QString::fromLocal8Bit(argv[1]) + "|orders";
    require(connection.createTable({table, "customer", "date"}), "creating the table");

    // Several orders at once, all or none.
    Batch batch;
    for (int month = 1; month <= 5; ++month) {
        const QString date = QStringLiteral("2012-%1").arg(month, 2, 10, QChar('0'));
        batch.putItem(table, {{"customer", S("abc")}, {"date", S(date)}, {"total", N(10 * month)}});
    }
    require(connection.batchWrite(batch), "storing orders");

    // A condition prevents an existing order from being replaced.
    const Item again{{"customer", S("abc")}, {"date", S("2012-03")}, {"total", N(99)}};
    const Result refused = connection.putItem(table, again, {.expected = {{"total", isAbsent()}}});
    if (refused.outcome() == Outcome::ConditionFailed)
        std::printf("2012-03 has an order already\n");
    else
        require(refused, "storing an order");

    // An update changes the named attributes and leaves the others.
    const Updates paid{{"total", addValue(N(2))}, {"paid", putValue(S("yes"))}};
    const Result updated =
        connection.updateItem(table, {"abc", "2012-03"}, paid, {.returnValues = ReturnValues::AllNew});
    require(updated, "updating an order");
    std::printf("2012-03 costs %lld, paid: %s\n", number(updated.attributes(), "total").value_or(0),
                qPrintable(text(updated.attributes(), "paid")));

    require(connection.deleteItem(table, {"abc", "2012-05"}), "deleting an order");
    if (const Result gone = connection.getItem(table, {"abc", "2012-05"}); gone.ok() && !gone.item())
        std::printf("2012-05 has no order\n");

    // Ranges fetch one page after another while the loop runs.
    std::printf("all orders:\n");
    printOrders(connection.queryAll(table, "abc", {.limit = 2}));
    std::printf("until March, the last first:\n");
    printOrders(connection.queryAll(table, "abc", {.range = KeyCondition::atMost("2012-03")}));
    return EXIT_SUCCESS;
}

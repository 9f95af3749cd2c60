#ifndef QUORVA_REQUEST_COMMITPLAN_H
#define QUORVA_REQUEST_COMMITPLAN_H

#include "records/itemplace.h"
#include "request/requestbody.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>
#include <vector>

class TableContext;

/** What an entry of a Commit does if all expectations hold. */
enum class CommitAction { Put, Delete, Check };

/** What an entry of a Commit expects of the stored item. */
enum class CommitExpectation { Anything, NoItem, Item };

/** An entry of a Commit. */
struct CommitEntry {
    QByteArray tableName;
    CommitAction action = CommitAction::Check;
    CommitExpectation expectation = CommitExpectation::Anything;
    QByteArray expected; // with Item: its canonical JSON
    QVariant put;        // with Put: the item of the request
    QByteArray stored;   // with Put: what is to be stored; set by openCommit
    ItemPlace place;     // the keys, and after openCommit the rest
};

/** Why a Commit was refused. */
struct CommitRefusal {
    int status = 0;
    QString message; // empty: the status, or a log line, says enough
};

namespace Requests {

/** Reads the body of a Commit. Examines nothing but the body. */
[[nodiscard]] std::optional<CommitRefusal> readCommit(const RequestBody& body, std::vector<CommitEntry>* entries);

/**
 * Opens the environment, and finds the place of each entry in it. Tables that were not created are refused. Also
 * StatusTakesLong.
 */
[[nodiscard]] std::optional<CommitRefusal> openCommit(TableContext& table, std::vector<CommitEntry>* entries);

} // namespace Requests

#endif

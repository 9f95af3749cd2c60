#ifndef QUORVA_TOOLS_IMPORTER_H
#define QUORVA_TOOLS_IMPORTER_H

#include "tools/importbatch.h"
#include "tools/importstate.h"
#include "tools/linereader.h"
#include "tools/progressbar.h"
#include "tools/serveraddress.h"
#include "tools/session.h"

#include <QByteArray>

#include <cstddef>
#include <optional>
#include <string>

namespace Ctl {

/** What an import reads. */
struct ImportInput {
    int descriptor = -1; // the caller's
    std::string name;    // in messages
    qint64 bytes = -1;   // its size, or below 0
};

/**
 * Stores the items of an input in a table, one a line, as if each line were a put of its own, in their order: of two
 * items with the same keys the later one stays. They are sent in batches, which the server applies as a whole or not at
 * all. When one is not applied, its items are sent one by one, so that only those are refused that the server refuses.
 */
class Importer {
public:
    /** `mark` is where an earlier import of the same input came to. */
    Importer(const ServerAddress& server, std::string table, ImportInput input, ImportState state,
             const ImportMark& mark);

    /** An exit code; everything has been told. */
    [[nodiscard]] int run();

private:
    int skipToMark();
    int transfer();
    int takeLine(const QByteArray& line);
    int sendBatch(long long lastLine);
    int sendOneByOne();
    int send(std::size_t first, std::size_t count, QVariantMap* reply);
    int moveMark();
    int finish();
    void refuse(long long line, const std::string& reason);
    int cannotRead();
    int stop(int code, const std::string& reason);
    long long itemsOfThisRun() const { return reached_.stored - begin_.stored; }

    const std::string table_;
    const ImportInput input_;
    const ImportState state_;
    const ImportMark begin_;
    ImportMark mark_;    // where a next run would begin
    ImportMark reached_; // ahead of it while the server refuses one item after the other

    Session session_;
    TableKeys keys_;
    LineReader reader_;
    std::optional<ProgressBar> progress_; // once the mark was found
    qint64 skippedBytes_ = 0;

    ImportBatch batch_;
    int refusedInARow_ = 0; // by the server
};

} // namespace Ctl

#endif

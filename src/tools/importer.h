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

/** The input of an import. */
struct ImportInput {
    int descriptor = -1; // the caller's
    std::string name;    // in messages
    qint64 bytes = -1;   // its size, or below 0
};

/**
 * Stores the items of an input, one per line, in a table, as if each line were a separate put, in order: of two items
 * with the same keys, the later one wins. They are sent in batches, which the server applies atomically. When a batch
 * is not applied, its items are sent one by one, so that only the offending ones are refused.
 */
class Importer {
public:
    /** `mark` is how far an earlier import of the same input got. */
    Importer(const ServerAddress& server, std::string table, ImportInput input, ImportState state,
             const ImportMark& mark);

    /** Returns an exit code; everything has been reported. */
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
    ImportMark mark_;    // where the next run would start
    ImportMark reached_; // ahead of it while the server refuses item after item

    Session session_;
    KeyNames keys_;
    LineReader reader_;
    std::optional<ProgressBar> progress_; // set once the mark has been reached
    qint64 skippedBytes_ = 0;

    ImportBatch batch_;
    int refusedInARow_ = 0; // by the server
};

} // namespace Ctl

#endif

#ifndef QUORVA_TOOLS_IMPORTER_H
#define QUORVA_TOOLS_IMPORTER_H

#include "tools/importaccount.h"
#include "tools/importlanes.h"
#include "tools/importsource.h"
#include "tools/itemformat.h"
#include "tools/progressbar.h"
#include "tools/serveraddress.h"

#include <QByteArray>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Ctl {

/** The input of an import. */
struct ImportInput {
    int descriptor = -1; // the caller's
    std::string name;    // in messages
    qint64 bytes = -1;   // its size, or below 0
    ItemFormat format = ItemFormat::Json;
    std::vector<std::string> types{}; // see CsvColumns
    ProgressBar::When progress = ProgressBar::When::OnTerminal;
};

/**
 * Stores the items of an input in a table, as if each were a separate put, in order: of two items with the same keys,
 * the later one wins. Does not wait for slow input: what has been read is sent.
 */
class Importer {
public:
    /** `mark` is how far an earlier import of the same input got. */
    Importer(const ServerAddress& server, const std::string& table, ImportInput input, ImportState state,
             const ImportMark& mark);

    /** Returns an exit code; everything has been reported. */
    [[nodiscard]] int run();

private:
    int importAll();
    std::unique_ptr<ImportSource> makeSource();
    int begin();
    int skipToMark();
    int transfer();
    bool awaitInput();
    int take(const QByteArray& item);
    int refuse(const std::string& reason);
    int finish();
    int cannotRead();

    const ImportInput input_;
    ImportAccount account_;
    ImportLanes lanes_;
    KeyNames keys_;
    const std::unique_ptr<ImportSource> source_;
    bool hasItem_ = false;                // an item that can be sent has been read
    int refusedBefore_ = 0;               // those before it
    int failure_ = 0;                     // the exit code of a failure while the input was awaited
    std::optional<ProgressBar> progress_; // set once the mark has been reached
    qint64 skippedBytes_ = 0;
};

} // namespace Ctl

#endif

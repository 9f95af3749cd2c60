#ifndef QUORVA_TOOLS_ITEMFORMAT_H
#define QUORVA_TOOLS_ITEMFORMAT_H

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Ctl {

/** How the items in a file are written: JSON, one per line; CSV, see CsvSource; or as DynamodbLines has them. */
enum class ItemFormat { Json, Csv, DynamodbJson };

/** Declares --format, which takes the names of `formats`, of which the first is the default. */
void addFormatOption(CLI::App* command, const std::vector<ItemFormat>& formats, const std::string& description,
                     ItemFormat* format);

} // namespace Ctl

#endif

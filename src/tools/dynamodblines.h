#ifndef QUORVA_TOOLS_DYNAMODBLINES_H
#define QUORVA_TOOLS_DYNAMODBLINES_H

#include "tools/importsource.h"

namespace Ctl {

/**
 * Items in the format in which the hosted service with this API exports and imports tables: {"Item":{...}}, one per
 * line; the item is the same JSON as elsewhere. Lines of white space count as empty.
 */
class DynamodbLines : public ImportSource {
public:
    using ImportSource::ImportSource;

    /** The line of an item, without a line end. */
    static QByteArray lineOf(const QByteArray& item);

    Result begin(const KeyNames&) override { return Result::Item; }
    Result next(QByteArray* item) override;
};

} // namespace Ctl

#endif

#ifndef QUORVA_TOOLS_CSVSOURCE_H
#define QUORVA_TOOLS_CSVSOURCE_H

#include "tools/csvcolumns.h"
#include "tools/csvparser.h"
#include "tools/importsource.h"

namespace Ctl {

/** Items as comma-separated values with a header line, one per record; empty lines between records are skipped. */
class CsvSource : public ImportSource {
public:
    CsvSource(int descriptor, std::function<bool()> wait, std::vector<std::string> types)
        : ImportSource(descriptor, std::move(wait)), columns_(std::move(types))
    {}

    Result begin(const KeyNames& keys) override;
    Result next(QByteArray* item) override;
    long long firstLine() const override { return firstLine_; }

private:
    Result readRecord();

    CsvColumns columns_;
    CsvParser parser_;
    long long firstLine_ = 0;
};

} // namespace Ctl

#endif

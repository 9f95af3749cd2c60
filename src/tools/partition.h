#ifndef QUORVA_TOOLS_PARTITION_H
#define QUORVA_TOOLS_PARTITION_H

#include <QString>

namespace Ctl {

/** How many data files a table has at most. A scan reads them in the order of their numbers. */
inline constexpr int PartitionCount = 256;

/** The number of the data file in which the server keeps the items of a hash key. */
int partitionOf(const QString& hash);

} // namespace Ctl

#endif

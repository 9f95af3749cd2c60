#include "library/rangereader.h"

#include "quorva/connection.h"

#include <utility>

namespace Quorva {

RangeReader::RangeReader(Connection* connection, const Operations::Operation& operation, const QVariantMap& body,
                         int limit)
    : reader_(
          [this, connection](const Operations::Operation& name, const QVariantMap& request, QVariantMap* reply) {
              result_ = connection->call(QString::fromLatin1(name.fullName()), request);
              *reply = result_.reply();
              return result_.ok();
          },
          operation, body, limit)
{}

void RangeReader::start()
{
    if (!std::exchange(started_, true))
        advance();
}

void RangeReader::advance()
{
    atEnd_ = !reader_.next();
}

Result RangeReader::firstPage()
{
    QVariantMap reply;
    return reader_.readFirstPage(&reply) ? Result::fromReply(reply) : result_;
}

} // namespace Quorva

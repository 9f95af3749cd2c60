#include "request/listtables.h"

#include "records/requeststatus.h"
#include "records/tablelist.h"
#include "request/bdbrequest.h"
#include "storage/environmentpath.h"

#include <QByteArray>
#include <QString>

#include <cerrno>
#include <cstring>
#include <system_error>

using namespace Qt::StringLiterals;

namespace {

int refuse(BDBRequest& request, int status, const QString& message)
{
    request.message = message;
    return status;
}

int refuseDirectory(BDBRequest& request, const QString& directory, int error)
{
    switch (error) {
    case ENOENT:
        return refuse(request, StatusNotFound, u"The directory \"%1\" does not exist."_s.arg(directory));
    case ENOTDIR:
        return refuse(request, StatusNotFound, u"\"%1\" is not a directory."_s.arg(directory));
    case E2BIG:
        return refuse(request, StatusInvalidRequest,
                      u"\"%1\" has more than %2 files, counting those of directories below it and behind links. Name "
                      "the directory that holds the tables."_s.arg(directory)
                          .arg(Records::MostListedFiles));
    case ENOTSUP:
        return refuse(request, StatusInvalidRequest,
                      u"\"%1\" shows the state of the kernel; no tables can be in it."_s.arg(directory));
    default:
        return refuse(request, StatusInternalError,
                      u"The directory \"%1\" cannot be read: %2."_s.arg(
                          directory, QString::fromStdString(std::generic_category().message(error))));
    }
}

QVariantMap describe(const QString& directory, const ListedTable& table)
{
    QVariantMap listed{{"TableName", directory + u'|' + QString::fromUtf8(table.filePart)},
                       {"Files", table.files},
                       {"Bytes", table.bytes}};
    if (!table.description.isEmpty())
        listed.insert(u"KeySchema"_s, table.description.value(u"KeySchema"_s).toMap());
    return listed;
}

} // namespace

int Requests::listTables(BDBRequest& request)
{
    const QString directory = request.parsedBody.value("Directory"_L1).toString();
    if (directory.isEmpty())
        return refuse(request, StatusInvalidRequest, u"The parameter \"Directory\" is missing."_s);
    const QByteArray path = directory.toUtf8();
    if (path.contains('\0'))
        return refuseDirectory(request, directory, ENOENT);
    QByteArray canonical;
    if (const int rc = EnvironmentPath::canonical(path, &canonical))
        return refuseDirectory(request, directory, rc);

    TableList list;
    if (const int rc = Records::listTables(request.table, path, &list))
        return rc > 0 ? refuseDirectory(request, directory, rc) : rc;
    QVariantList tables;
    QVariantList notCreated;
    for (const ListedTable& table : list.tables)
        (table.isCreated ? tables : notCreated).append(describe(directory, table));
    request.reply.insert(u"Directory"_s, QString::fromUtf8(canonical));
    request.reply.insert(u"Open"_s, list.isOpen);
    request.reply.insert(u"Tables"_s, tables);
    if (!notCreated.isEmpty())
        request.reply.insert(u"NotCreated"_s, notCreated);
    if (list.unreadable != 0)
        request.reply.insert(u"Unreadable"_s, list.unreadable);
    return StatusSuccess;
}

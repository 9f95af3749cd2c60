#ifndef QUORVA_REQUEST_STATUSPARTS_H
#define QUORVA_REQUEST_STATUSPARTS_H

#include <QVariantList>
#include <QVariantMap>

class BDBObjTable;

/** The parts of the reply to a Status, as docs/protocol.md describes them. Any thread. */
namespace StatusParts {

QVariantMap process();
QVariantMap bytes();
QVariantList latencyBounds();
QVariantList requests();
QVariantList slowRequests();
QVariantList failedRequests();

/** May wait for a moment, see EnvironmentStatus. */
QVariantList environments(BDBObjTable* registry);

} // namespace StatusParts

#endif

#ifndef QUORVA_REQUEST_ENVACCESS_H
#define QUORVA_REQUEST_ENVACCESS_H

#include <QByteArray>

#include <memory>

class AccessLock;
class BDBObjTable;

/**
 * A request's shared hold on an environment's access lock: DeleteTable waits for it. Given back when the object goes,
 * by the thread that took it.
 */
class EnvAccess {
public:
    EnvAccess() = default;
    ~EnvAccess();
    EnvAccess(const EnvAccess&) = delete;
    EnvAccess& operator=(const EnvAccess&) = delete;

    /** False, without waiting, while a DeleteTable holds the lock or waits for it. */
    [[nodiscard]] bool takeShared(BDBObjTable* registry, const QByteArray& tableName);

    /** Forgets the hold without giving it back: somebody else sees to that. */
    void dismiss();

private:
    std::shared_ptr<AccessLock> lock_;
};

#endif

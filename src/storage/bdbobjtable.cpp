#include "storage/bdbobjtable.h"

#include "log/log.h"
#include "storage/accesslock.h"
#include "storage/bdbcursor.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdblocker.h"
#include "storage/bdbseq.h"
#include "storage/bdbtxn.h"

#include <QMutexLocker>

#include <initializer_list>

namespace {

/**
 * Objects have no virtual destructor, so each is destroyed through its own class. False for types that a table does not
 * own.
 */
bool destroyObject(BDBObject* object)
{
    switch (object->type()) {
    case BDBIndexType:
        delete static_cast<BDBIndex*>(object);
        return true;
    case BDBTxnType:
        delete static_cast<BDBTxn*>(object);
        return true;
    case BDBCursorType:
        delete static_cast<BDBCursor*>(object);
        return true;
    case BDBSeqType:
        delete static_cast<BDBSeq*>(object);
        return true;
    case BDBLockerType:
        delete static_cast<BDBLocker*>(object);
        return true;
    default:
        return false;
    }
}

} // namespace

BDBObjTable::BDBObjTable(int capacity) : objects_(static_cast<std::size_t>(capacity)) {}

BDBObjTable::~BDBObjTable()
{
    closeObjects();
}

int BDBObjTable::addDesc(BDBObject* object)
{
    const std::size_t slot = freeSlot();
    if (slot == 0) {
        dumpDatabases();
        return -1;
    }
    objects_[slot].store(object, std::memory_order_release);
    if (usedEnd_.load(std::memory_order_relaxed) <= slot)
        usedEnd_.store(slot + 1, std::memory_order_release);
    return static_cast<int>(slot);
}

bool BDBObjTable::hasRoom() const
{
    if (freeSlot() != 0)
        return true;
    dumpDatabases();
    return false;
}

/** The first one; 0 if there is none. */
std::size_t BDBObjTable::freeSlot() const
{
    for (std::size_t slot = 1; slot < objects_.size(); ++slot) {
        if (objects_[slot].load(std::memory_order_relaxed) == nullptr)
            return slot;
    }
    return 0;
}

void BDBObjTable::dumpDatabases() const
{
    for (const auto& slot : objects_) {
        BDBObject* object = slot.load(std::memory_order_relaxed);
        if (object == nullptr || object->type() != BDBIndexType)
            continue;
        const char* file = nullptr;
        const char* name = nullptr;
        (void)static_cast<BDBIndex*>(object)->get_dbname(&file, &name); // on failure both stay null
        // Kept: the leading blank, which puts two between the number and the text.
        LOG_ERROR(LogOrigin::Engine, __LINE__) << " addDesc objType " << object->type() << " fname "
                                               << (file ? file : "") << " dbname " << (name ? name : "");
    }
}

BDBObject* BDBObjTable::objectAt(int descriptor) const
{
    const auto slot = static_cast<std::size_t>(descriptor);
    return descriptor >= 0 && slot < objects_.size() ? objects_[slot].load(std::memory_order_acquire) : nullptr;
}

BDBObject* BDBObjTable::getObject(int descriptor, int expectedType) const
{
    if ((descriptor & ENV_DESC_FLAG) != 0 && env_ != nullptr)
        return env_->getObject(descriptor & ~ENV_DESC_FLAG, expectedType);

    BDBObject* object = objectAt(descriptor);
    if (object == nullptr) {
        if (descriptor != 0)
            LOG_ERROR(LogOrigin::Engine, __LINE__) << "Failed to get object for descriptor " << descriptor;
        return nullptr;
    }
    if (object->type() != expectedType) {
        LOG_ERROR(LogOrigin::Engine, __LINE__)
            << "Object type mismatch (" << expectedType << " " << object->type() << ") for descriptor " << descriptor;
        return nullptr;
    }
    return object;
}

void BDBObjTable::freeDesc(int descriptor)
{
    if ((descriptor & ENV_DESC_FLAG) != 0 && env_ != nullptr) {
        env_->freeDesc(descriptor & ~ENV_DESC_FLAG);
        return;
    }
    const QMutexLocker locker(&mutex_);
    clearSlot(descriptor);
}

void BDBObjTable::clearSlot(int descriptor)
{
    if (objectAt(descriptor) != nullptr)
        objects_[static_cast<std::size_t>(descriptor)].store(nullptr, std::memory_order_release);
}

void BDBObjTable::closeObjects()
{
    static constexpr std::initializer_list<int> passes[] = {
        {BDBCursorType, BDBLockerType}, {BDBTxnType}, {BDBSeqType}, {BDBIndexType}};
    const std::size_t end = usedEnd_.load(std::memory_order_acquire);
    for (const auto& types : passes) {
        for (std::size_t i = 0; i < end; ++i) {
            auto& slot = objects_[i];
            BDBObject* object = slot.load(std::memory_order_acquire);
            if (object == nullptr)
                continue;
            for (const int type : types) {
                if (object->type() == type && destroyObject(object)) {
                    slot.store(nullptr, std::memory_order_release);
                    break;
                }
            }
        }
    }
}

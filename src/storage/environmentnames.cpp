#include "storage/environmentnames.h"

#include "storage/registrykeys.h"

#include <chrono>

namespace {

// The maximum number of cached spellings, so that a client cannot use up memory by inventing new ones.
constexpr qsizetype MaxRememberedNames = 65536;

// A link may be switched while the environment at its old target is open.
constexpr std::chrono::seconds ResolvedFor(1);

/** Drops a spelling that has changed its target since it was resolved. */
void checkSpelling(BDBObjTable* registry, const QString& key)
{
    if (registry->spellings().isEmpty())
        return;
    const auto spelling = registry->spellings().find(key);
    if (spelling == registry->spellings().end())
        return;
    const auto now = std::chrono::steady_clock::now();
    if (now - *spelling < ResolvedFor)
        return;
    *spelling = now;
    // Kept: the environment stays open, as it has requests in progress, and remains reachable by its own path. A
    // dangling spelling stays with its environment: the link may be about to be created.
    const QString canonical = RegistryKeys::canonical(key);
    if (canonical == key || registry->names().value(canonical, 0) == registry->names().value(key, 0))
        return;
    registry->names().remove(key);
    registry->locks().remove(key);
    registry->spellings().erase(spelling);
}

} // namespace

void EnvironmentNames::add(BDBObjTable* registry, const QString& key, int descriptor,
                           const std::shared_ptr<AccessLock>& access)
{
    registry->names().insert(key, descriptor);
    registry->locks().insert(key, access);
}

EnvironmentNames::Registered EnvironmentNames::find(BDBObjTable* registry, const QString& key)
{
    checkSpelling(registry, key);
    if (const int descriptor = registry->names().value(key, 0))
        return {descriptor, registry->locks().value(key)};
    const QString canonical = RegistryKeys::canonical(key);
    const int descriptor = registry->names().value(canonical, 0);
    if (descriptor == 0)
        return {};
    Registered found{descriptor, registry->locks().value(canonical)};
    if (registry->names().size() < MaxRememberedNames) {
        add(registry, key, found.descriptor, found.access);
        registry->spellings().insert(key, std::chrono::steady_clock::now());
    }
    return found;
}

std::shared_ptr<AccessLock> EnvironmentNames::findAccess(BDBObjTable* registry, const QString& key)
{
    if (auto access = registry->locks().value(key))
        return access;
    return registry->locks().value(RegistryKeys::canonical(key));
}

QSet<QString> EnvironmentNames::forget(BDBObjTable* registry, int descriptor)
{
    QSet<QString> forgotten;
    registry->names().removeIf([&](const auto& entry) {
        if (entry.value() != descriptor)
            return false;
        forgotten.insert(entry.key());
        registry->spellings().remove(entry.key());
        return true;
    });
    return forgotten;
}

void EnvironmentNames::forgetAccess(BDBObjTable* registry, const std::shared_ptr<AccessLock>& access)
{
    registry->locks().removeIf([&](const auto& entry) { return entry.value() == access; });
}

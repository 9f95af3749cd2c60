#ifndef QUORVA_RECORDS_LOOKUP_H
#define QUORVA_RECORDS_LOOKUP_H

#include "records/requestcontext.h"

class BDBEnv;
class BDBIndex;

/**
 * Finds the environment of `tableName` or, with `create`, opens it; it becomes the request's current environment, which
 * transactions begin on and databases are opened in, and stays alive until the request ends or drops it. 0, or the
 * registry's code. A request that names the same directory again gets what it found the first time; one that names
 * another lets go of what it had, whatever the result.
 */
[[nodiscard]] int envLookup(BDBRequest& request, const QByteArray& tableName, int create);

/** Lets go of the request's current environment. */
void dropEnvironment(BDBRequest& request);

/** Finds or opens a database of the current environment: sub-database `subDatabase` of the file that `name` names. */
[[nodiscard]] int dbOpen(BDBRequest& request, const QByteArray& name, const char* subDatabase, BDBIndex** db);

#endif

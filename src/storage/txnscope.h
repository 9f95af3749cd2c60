#ifndef QUORVA_STORAGE_TXNSCOPE_H
#define QUORVA_STORAGE_TXNSCOPE_H

#include "storage/environmentuse.h"

/**
 * Where transactions begin, and how their commits become durable.
 *
 * Constructed from an environment: a commit returns when it is durable. Constructed from a request's use of one: a
 * commit returns immediately, and EnvironmentUse::unflushed() has what the reply must wait for. With `-n` neither
 * waits. Converts implicitly, as either is a scope wherever one is asked for.
 */
class TxnScope {
public:
    // cppcheck-suppress noExplicitConstructor ; see above
    TxnScope(BDBEnv* env) : env_(env) {}
    // cppcheck-suppress noExplicitConstructor ; see above
    TxnScope(EnvironmentUse* use) : env_(use->env()), unflushed_(&use->unflushed()) {}

    BDBEnv* env() const { return env_; }

    /** Null: commits wait. */
    UnflushedCommits* unflushed() const { return unflushed_; }

private:
    BDBEnv* env_;                           // not owned
    UnflushedCommits* unflushed_ = nullptr; // the request's
};

#endif

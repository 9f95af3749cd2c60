#ifndef QUORVA_STORAGE_TXNSCOPE_H
#define QUORVA_STORAGE_TXNSCOPE_H

#include "storage/environmentuse.h"

/**
 * Where transactions begin, and how their commits become durable.
 *
 * Constructed from an environment: a commit returns when it is durable. Constructed from a request's use of one: a
 * commit returns immediately, and EnvironmentUse::unflushed() has what the reply must wait for. With `-n` neither
 * waits.
 */
class TxnScope {
public:
    TxnScope(BDBEnv* env) : env_(env) {}
    TxnScope(EnvironmentUse* use) : env_(use->env()), unflushed_(&use->unflushed()) {}

    BDBEnv* env() const { return env_; }

    /** Null: commits wait. */
    UnflushedCommits* unflushed() const { return unflushed_; }

private:
    BDBEnv* env_;                           // not owned
    UnflushedCommits* unflushed_ = nullptr; // the request's
};

#endif

#ifndef QUORVA_REQUEST_BDBREQUEST_H
#define QUORVA_REQUEST_BDBREQUEST_H

#include "records/requestcontext.h"

/**
 * Runs the operation that the request's name asks for, on the calling (database pool) thread. Afterwards the request's
 * status is set and its reply map holds what the operation put there. An unknown name is one ERROR line and status 2.
 */
void dispatch(BDBRequest& request);

#endif

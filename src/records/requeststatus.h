#ifndef QUORVA_RECORDS_REQUESTSTATUS_H
#define QUORVA_RECORDS_REQUESTSTATUS_H

/**
 * The result of an operation. Berkeley DB's codes (negative) and errno values pass through the same integers; whatever
 * is not listed here is answered as an internal error.
 */
enum RequestStatus : int {
    StatusSuccess = 0,
    StatusConditionFailed = 1,
    StatusInternalError = 2, // also an unknown operation, a bad key, a bad schema
    StatusNotFound = 3,      // also an environment that is busy being deleted
    StatusInvalidRequest = 4
};

#endif

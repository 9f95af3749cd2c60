#ifndef QUORVA_RECORDS_REQUESTSTATUS_H
#define QUORVA_RECORDS_REQUESTSTATUS_H

/**
 * The result of an operation. Berkeley DB's codes (negative) and errno values share the same integer type; anything not
 * listed here is answered as an internal error.
 */
enum RequestStatus : int {
    StatusSuccess = 0,
    StatusConditionFailed = 1,
    StatusInternalError = 2, // also an unknown operation, a bad key, a bad schema
    StatusNotFound = 3,      // also an environment that is being deleted
    StatusInvalidRequest = 4,
    /**
     * Never sent: the request needs a long operation, on a thread that must not run one. It has changed and logged
     * nothing, and another thread runs it again. The value is neither an errno nor one of Berkeley DB's codes.
     */
    StatusTakesLong = 1000000
};

/** The number of statuses that have their own reply. */
inline constexpr int AnsweredStatuses = StatusInvalidRequest + 1;

/** The status whose reply a result gets: below AnsweredStatuses. */
constexpr int answeredStatus(int result)
{
    return result >= 0 && result < AnsweredStatuses ? result : StatusInternalError;
}

#endif

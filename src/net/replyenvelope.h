#ifndef QUORVA_NET_REPLYENVELOPE_H
#define QUORVA_NET_REPLYENVELOPE_H

#include <QVariantMap>

/** The fields that every reply carries about its status. `type` and `message` are null on success. */
struct ReplyEnvelope {
    int rc;
    const char* rcText;
    const char* type;
    const char* message;

    /** The envelope of a status; one that is not listed counts as an internal error. */
    static const ReplyEnvelope& of(int status);

    /** True for the statuses that operations answer in the ordinary course: all but 2 and those that are not listed. */
    static bool isOrdinary(int status);

    /** Writes the fields over any that `reply` holds under the same names; everything else stays. */
    void addTo(QVariantMap* reply) const;
};

#endif

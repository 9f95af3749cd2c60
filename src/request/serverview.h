#ifndef QUORVA_REQUEST_SERVERVIEW_H
#define QUORVA_REQUEST_SERVERVIEW_H

#include <QVariantMap>

/** The parts of a Status that only the layers above know. Any thread. */
class ServerView {
public:
    /** Adds "Server", "Connections" and "Threads" to the reply of a Status. Waits for nothing. */
    virtual void describe(QVariantMap* status) const = 0;

protected:
    ~ServerView() = default;
};

#endif

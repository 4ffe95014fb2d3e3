#pragma once

#include <QObject>

// Tells the serving process that the change log may have grown, whoever wrote to it: this process
// or another one on the same database (the command line, the bot). Whoever listens then reads the
// log after the last revision it has seen. SQLite cannot notify other processes, so its watch polls;
// a database server would use its own notifications (LISTEN/NOTIFY) behind the same interface.
class ChangeWatch : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    // Watching may cost something (polling): a watch nobody needs is paused. Changes made by this
    // process are announced either way.
    virtual void setActive(bool active) = 0;

Q_SIGNALS:
    void changed();
};

#pragma once

#include <QByteArray>
#include <QString>

namespace tavrelsim {

// What a device puts on the wire for one program message.
struct SimResponse {
    QByteArray bytes;     // empty: no response
    bool complete = true; // false: the message was cut short and carries no END
};

// The behaviour behind a bench address: turns program messages into response messages.
// Called with the owning instrument's lock held, so implementations need no locking of their own.
class SimDevice {
public:
    virtual ~SimDevice() = default;
    virtual QString model() const { return {}; }
    // message: one program message without its terminator. outputQueued: responses are waiting
    // to be read (the MAV bit of the status byte).
    virtual SimResponse execute(const QByteArray& message, bool outputQueued) = 0;
    // A program message longer than the input buffer holds was dropped unread.
    virtual void overflowed() {}
};

} // namespace tavrelsim

#pragma once

#include <QByteArray>

namespace tavrelsim {

// Serial framing and flow control as the host has set them on its port. The codes are those of
// the I/O library: parity 1 none, 2 odd, 3 even, 4 mark, 5 space; handshake 1 none, 2 XON/XOFF,
// 3 RTS/CTS, 4 DTR/DSR.
struct SimSerialSettings {
    int baudRate = 9600;
    int parity = 1;
    int dataBits = 8;
    int stopBits = 1;
    int handshake = 2;
    bool operator==(const SimSerialSettings&) const = default;
};

struct SimReadResult {
    enum Status { Ok, Timeout, Dropped };
    QByteArray data;
    bool end = false; // the last byte carries the bus's END (GPIB EOI)
    Status status = Ok;
    quint64 clears = 0; // how many device clears the instrument had when the data left it
};

// One end of a connection to a simulated instrument, as a bus delivers bytes. Only bytes cross it:
// the host side never calls into the instrument model. Safe to use from one thread at a time;
// different endpoints may be used from different threads.
class SimEndpoint {
public:
    virtual ~SimEndpoint() = default;

    // Bytes from the host. On GPIB a write ends with END, which also terminates a command.
    virtual void write(const QByteArray& bytes) = 0;
    // Waits up to timeoutMs (real time) for at least one byte of the instrument's output, then
    // returns what is available, at most maxBytes. Timeout: nothing arrived; Dropped: the
    // connection went away (a fault of the bench).
    virtual SimReadResult read(qsizetype maxBytes, int timeoutMs) = 0;
    // Device clear: pending input and output are discarded.
    virtual void clear() = 0;
    // Serial ports only: what the host has set. An instrument whose own settings differ hears
    // only garbage and stays silent, as a real one would.
    virtual void setSerialSettings(const SimSerialSettings& settings) { (void)settings; }
    // Serial ports only: the host's DTR and RTS outputs.
    virtual void setModemLines(bool dtr, bool rts) {
        (void)dtr;
        (void)rts;
    }
};

} // namespace tavrelsim

#pragma once

#include "iolib/IOSession.h"
#include "iolib/IOUtilsEnums.h"

namespace CorvaneIOUtilsLib {

// A session on a serial (COM) port: IOType "ASRL", with the port's framing, flow control and modem
// lines. Codes are the library's (IOUtilsEnums.h). A setting the port cannot take throws
// IOError(Unsupported) and leaves the previous one in force.
class SerialSession : public IOSession {
public:
    virtual int BaudRate() const = 0;
    virtual void SetBaudRate(int baud) = 0;
    virtual int Parity() const = 0;
    virtual void SetParity(int parity) = 0;
    virtual int DataBits() const = 0;
    virtual void SetDataBits(int bits) = 0;
    virtual int StopBits() const = 0;
    virtual void SetStopBits(int bits) = 0;
    // 1 none, 2 XON/XOFF, 3 RTS/CTS, 4 DTR/DSR.
    virtual int HandShake() const = 0;
    virtual void SetHandShake(int handshake) = 0;

    // The host's DTR and RTS outputs (line control). Both are raised when the port opens.
    virtual bool DTR() const = 0;
    virtual void SetDTR(bool on) = 0;
    virtual bool RTS() const = 0;
    virtual void SetRTS(bool on) = 0;

    // End-of-line handling of writes: RS232_EndOut_LineEnd (the default) ends a write that does not
    // already end in "\n" with one; RS232_EndOut_None sends the bytes as they are.
    virtual int EndOut() const = 0;
    virtual void SetEndOut(int endOut) = 0;
};

} // namespace CorvaneIOUtilsLib

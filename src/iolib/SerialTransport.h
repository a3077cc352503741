#pragma once

#include "iolib/RawTransport.h"
#include "iolib/SerialSettings.h"

namespace CorvaneIOUtilsLib {

// A raw transport over a serial line, which also takes framing, flow control and modem lines.
class SerialTransport : public RawTransport {
public:
    // Called on open and whenever a setting changes; the settings are already validated.
    virtual void applySettings(const SerialSettings& settings) = 0;
    virtual void setModemLines(bool dtr, bool rts) = 0;
    bool hasEnd() const override { return false; }
};

} // namespace CorvaneIOUtilsLib

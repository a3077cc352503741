#pragma once

#include "sim/SimDevice.h"

namespace tavrelsim {

// An older instrument that is not IEEE 488.2 compliant: it answers "*IDN?" with a bare name and
// ignores everything else.
class NoCommaDevice : public SimDevice {
public:
    explicit NoCommaDevice(QByteArray reply = "HP3478A") : m_reply(std::move(reply)) {}
    SimResponse execute(const QByteArray& message, bool outputQueued) override;

private:
    QByteArray m_reply;
};

} // namespace tavrelsim

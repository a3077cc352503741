#pragma once

#include "iolib/SerialTransport.h"

#include <QString>
#include <memory>

namespace tavrelsim {
class SimEndpoint;
}

namespace CorvaneIOUtilsLib {

// A connection to an instrument of the simulated bench, carrying only bytes as a bus would. The same
// class serves GPIB placements (with END) and COM ones (with serial settings and modem lines). A GPIB
// address where nothing listens has no endpoint: writing to it fails as on a real bus.
class SimTransport : public SerialTransport {
public:
    enum Bus { Gpib, Com };

    SimTransport(std::unique_ptr<tavrelsim::SimEndpoint> endpoint, Bus bus, QString resource);
    ~SimTransport() override;

    void write(const QByteArray& bytes, int timeoutMs) override;
    ReadChunk read(qsizetype maxBytes, int timeoutMs) override;
    bool hasEnd() const override { return m_bus == Gpib; }
    void clear(int timeoutMs) override;
    void close() override;
    void applySettings(const SerialSettings& settings) override;
    void setModemLines(bool dtr, bool rts) override;

private:
    tavrelsim::SimEndpoint& listener();

    std::unique_ptr<tavrelsim::SimEndpoint> m_endpoint;
    Bus m_bus;
    QString m_resource;
};

} // namespace CorvaneIOUtilsLib

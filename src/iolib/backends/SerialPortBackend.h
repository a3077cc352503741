#pragma once

#include "iolib/IOBackend.h"

#include <QMap>

namespace CorvaneIOUtilsLib {

// COM ports on Linux serial devices. COM1..COM4 are /dev/ttyS0..3 unless TAVREL_COM_PORTS maps them
// ("COM1=/dev/ttyUSB0;COM2=/dev/pts/7"); with a map, ports it leaves out do not exist.
class SerialPortBackend : public IOBackend {
public:
    explicit SerialPortBackend(QMap<int, QString> devices);
    // The map from TAVREL_COM_PORTS, or the default one. Malformed items are skipped with a trace.
    static QMap<int, QString> devicesFromEnvironment();

    QList<ResourceAddress::Kind> kinds() const override { return {ResourceAddress::Com}; }
    QStringList list(const QString& literalPrefix) override;
    std::unique_ptr<IOSession> open(const ResourceAddress& address) override;

    // True when the device exists and can be opened now (or is busy, being open already).
    static bool deviceUsable(const QString& path);

private:
    QMap<int, QString> m_devices;
};

} // namespace CorvaneIOUtilsLib

#pragma once

#include "iolib/RawTransport.h"

#include <QString>

namespace CorvaneIOUtilsLib {

// A USBTMC instrument through Linux's usbtmc driver: its device file, read and written as it is,
// with the driver's timeout and clear through its ioctls. A file that is no usbtmc device (a test's
// stand-in) refuses those ioctls; it is then waited on with poll and cleared by draining it.
class UsbtmcTransport : public RawTransport {
public:
    // Opens the device file; throws IOError (NotFound when it is not there, Io when it cannot be
    // opened, naming the udev rule that lets a user open it).
    UsbtmcTransport(const QString& devicePath, QString resource);
    ~UsbtmcTransport() override;

    void write(const QByteArray& bytes, int timeoutMs) override;
    ReadChunk read(qsizetype maxBytes, int timeoutMs) override;
    ReadCount readInto(char* out, qsizetype maxBytes, int timeoutMs) override;
    bool hasEnd() const override { return false; }
    void clear(int timeoutMs) override;
    void close() override;

    // Whether the file is served by the usbtmc driver (its ioctls work).
    bool isDriver() const { return m_driver; }

private:
    void setDriverTimeout(int timeoutMs);
    [[noreturn]] void fail(const QString& what, int error) const;

    int m_fd = -1;
    bool m_driver = false;
    int m_driverTimeoutMs = -1;
    QString m_resource;
};

} // namespace CorvaneIOUtilsLib

#pragma once

#include "iolib/IOError.h"
#include "iolib/RawTransport.h"
#include "iolib/backends/GpibLibrary.h"

#include <memory>

namespace CorvaneIOUtilsLib {

// One GPIB device descriptor (ibdev) of linux-gpib. Writes end with END; reads report it.
class GpibTransport : public RawTransport {
public:
    // timeoutCode: the T-code the descriptor was opened with.
    GpibTransport(std::shared_ptr<const GpibLibrary> library, int ud, int timeoutCode, QString resource);
    ~GpibTransport() override { close(); }

    void write(const QByteArray& bytes, int timeoutMs) override;
    ReadChunk read(qsizetype maxBytes, int timeoutMs) override;
    bool hasEnd() const override { return true; }
    void clear(int timeoutMs) override;
    void close() override;

    // The IOError for a failed call: a timeout, nobody listening, or what the driver said.
    static IOError errorFor(const GpibLibrary::Status& status, const QString& resource, const QString& what);

private:
    void useTimeout(int timeoutMs);

    std::shared_ptr<const GpibLibrary> m_library;
    int m_ud;
    QString m_resource;
    int m_timeoutCode;
};

} // namespace CorvaneIOUtilsLib

#pragma once

#include "iolib/IOBackend.h"

namespace CorvaneIOUtilsLib {

// Raw SCPI sockets. A network has nothing to list: only addresses the user gives are opened.
class LanBackend : public IOBackend {
public:
    QList<ResourceAddress::Kind> kinds() const override { return {ResourceAddress::TcpSocket}; }
    QStringList list(const QString&) override { return {}; }
    std::unique_ptr<IOSession> open(const ResourceAddress& address) override;
};

} // namespace CorvaneIOUtilsLib

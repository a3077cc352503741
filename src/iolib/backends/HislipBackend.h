#pragma once

#include "iolib/IOBackend.h"

namespace CorvaneIOUtilsLib {

// HiSLIP instruments ("TCPIP0::host::hislip0[,port]::INSTR"). Like the other LAN backends, only
// addresses the user gives (or that DNS-SD announces) are opened.
class HislipBackend : public IOBackend {
public:
    QList<ResourceAddress::Kind> kinds() const override { return {ResourceAddress::Hislip}; }
    QStringList list(const QString&) override { return {}; }
    std::unique_ptr<IOSession> open(const ResourceAddress& address) override;
};

} // namespace CorvaneIOUtilsLib

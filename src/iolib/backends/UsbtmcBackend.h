#pragma once

#include "iolib/IOBackend.h"

namespace CorvaneIOUtilsLib {

// USBTMC instruments ("USB0::0x0957::0x1796::MY123::INSTR") through Linux's usbtmc driver: listed
// from sysfs, opened through their device files.
class UsbtmcBackend : public IOBackend {
public:
    QList<ResourceAddress::Kind> kinds() const override { return {ResourceAddress::Usb}; }
    QStringList list(const QString& literalPrefix) override;
    std::unique_ptr<IOSession> open(const ResourceAddress& address) override;
};

} // namespace CorvaneIOUtilsLib

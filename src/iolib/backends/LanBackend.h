#pragma once

#include "iolib/IOBackend.h"

namespace CorvaneIOUtilsLib {

// Raw SCPI sockets. Listing gives the LAN instruments that announce themselves over DNS-SD, in
// every address form they announce (the VXI-11 and HiSLIP backends open those).
class LanBackend : public IOBackend {
public:
    // How long a listing waits for the announcements; nothing is waited for without an Avahi daemon.
    static constexpr int kBrowseMs = 1000;

    QList<ResourceAddress::Kind> kinds() const override { return {ResourceAddress::TcpSocket}; }
    QStringList list(const QString& literalPrefix) override;
    std::unique_ptr<IOSession> open(const ResourceAddress& address) override;
};

} // namespace CorvaneIOUtilsLib

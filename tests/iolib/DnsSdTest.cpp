// LAN instruments found, not only typed: what DNS-SD announcements stand for, a listing without an
// Avahi daemon, and the LAN list a control hands its I/O manager.
#include "iolib/backends/DnsSd.h"
#include "IolibTestSupport.h"
#include "iolib/IOManager.h"

#include <QElapsedTimer>

using namespace CorvaneIOUtilsLib;

TEST(DnsSd, AnnouncementsBecomeAddressesOnceEach) {
    const QList<DnsSd::Service> services = {
        {u"_vxi-11._tcp"_s, u"192.168.1.20"_s, 111},
        {u"_lxi._tcp"_s, u"192.168.1.20"_s, 80}, // the same instrument's web page: no second row
        {u"_hislip._tcp"_s, u"192.168.1.21"_s, 4880},
        {u"_hislip._tcp"_s, u"192.168.1.22"_s, 4881},
        {u"_scpi-raw._tcp"_s, u"192.168.1.23"_s, 5025},
        {u"_scpi-raw._tcp"_s, u"192.168.1.24"_s, 0}, // no port: nothing to open
        {u"_vxi-11._tcp"_s, u"fe80::1"_s, 111},      // IPv6 cannot be written in an address string
        {u"_http._tcp"_s, u"192.168.1.25"_s, 80},
    };
    EXPECT_EQ(DnsSd::resourcesFor(services),
              QStringList({u"TCPIP0::192.168.1.20::inst0::INSTR"_s, u"TCPIP0::192.168.1.21::hislip0::INSTR"_s,
                           u"TCPIP0::192.168.1.22::hislip0,4881::INSTR"_s,
                           u"TCPIP0::192.168.1.23::5025::SOCKET"_s}));
}

TEST(DnsSd, ListingWithoutADaemonIsQuickAndEmptyButForTheListedInstruments) {
    // This machine runs no Avahi daemon (a test machine); if one runs, what it finds is allowed.
    IOManager manager;
    QElapsedTimer clock;
    clock.start();
    const QStringList announced = manager.FindRsrc(u"TCPIP?*"_s);
    EXPECT_LT(clock.elapsed(), 5000) << "a listing never hangs";

    manager.SetListedLanInstruments(
        {u"TCPIP0::127.0.0.1::5025::SOCKET"_s, u"TCPIP0::127.0.0.1::inst0::INSTR"_s});
    const QStringList listed = manager.FindRsrc(u"TCPIP?*"_s);
    EXPECT_TRUE(listed.contains(u"TCPIP0::127.0.0.1::5025::SOCKET"_s));
    EXPECT_TRUE(listed.contains(u"TCPIP0::127.0.0.1::inst0::INSTR"_s));
    EXPECT_EQ(listed.size(), announced.size() + 2);
    EXPECT_TRUE(manager.FindRsrc(u"GPIB?*"_s).filter(u"TCPIP"_s).isEmpty());
    EXPECT_EQ(manager.FindRsrc(u"TCPIP0::127.0.0.1::5025::SOCKET"_s),
              QStringList({u"TCPIP0::127.0.0.1::5025::SOCKET"_s}));
}

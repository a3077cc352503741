#include "iolib/ResourceAddress.h"
#include "IolibTestSupport.h"

using namespace CorvaneIOUtilsLib;
using namespace Qt::StringLiterals;

namespace {

struct AddressCase {
    const char* text;
    const char* resource;  // resourceName() of a good address; null for a refused one
    SerialSettings serial; // the settings a good COM address asks for
    IOError::Kind error = IOError::BadAddress;
};
AddressCase Good(const char* text, const char* resource, SerialSettings serial = {}) {
    return {text, resource, serial, IOError::BadAddress};
}
AddressCase Bad(const char* text, IOError::Kind kind = IOError::BadAddress) {
    return {text, nullptr, {}, kind};
}

// clang-format off
const AddressCase kCases[] = {
    Good("GPIB0::7::INSTR", "GPIB0::7::INSTR"),
    Good(" gpib1::30::instr ", "GPIB1::30::INSTR"),
    Good("GPIB0::0", "GPIB0::0::INSTR"),
    Good("GPIB::12::INSTR", "GPIB0::12::INSTR"),
    Good("com3", "COM3"),
    Good("COM2::Baud=19200,Handshake=DTR_DSR", "COM2", {19200, 1, 8, 1, 4}),
    Good("COM1::handshake=dtr_dsr,baud=57600", "COM1", {57600, 1, 8, 1, 4}),
    Good("com1 :: baud = 19200", "COM1", {19200, 1, 8, 1, 2}),
    Good("COM1::Baud=9600,Parity=0,Stop=1,Size=8", "COM1"),
    Good("COM4::Parity=EVEN,Size=7,Stop=2,Handshake=NONE", "COM4", {9600, 3, 7, 2, 1}),
    Good("COM1::Parity=5,Handshake=RTS_CTS", "COM1", {9600, 5, 8, 1, 3}),
    Good("TCPIP0::192.168.1.20::5025::SOCKET", "TCPIP0::192.168.1.20::5025::SOCKET"),
    Good("tcpip::scope.lab::5025::socket", "TCPIP0::scope.lab::5025::SOCKET"),
    Bad("GPIB0::31::INSTR"), Bad("GPIB0"), Bad("GPIB0::x::INSTR"), Bad("GPIB0::7::INSTR::9"),
    Bad("GPIB0::INTFC", IOError::Unsupported),
    Bad("COM0"), Bad("COM1x"), Bad("COM1::"), Bad("COM1::Speed=9600"), Bad("COM1::Baud=fast"), Bad("COM1::Baud=0"),
    Bad("COM1::Handshake=RTS"), Bad("COM1::Parity=7"), Bad("COM1::Size=9"), Bad("COM1::Stop=3"),
    Bad("TCPIP0::host::70000::SOCKET"),
    Good("TCPIP0::192.168.1.20::INSTR", "TCPIP0::192.168.1.20::inst0::INSTR"),
    Good("TCPIP::scope::gpib0,7::instr", "TCPIP0::scope::gpib0,7::INSTR"),
    Good("TCPIP1::scope::hislip0::INSTR", "TCPIP1::scope::hislip0::INSTR"),
    Good("TCPIP0::scope::HISLIP2,4881::INSTR", "TCPIP0::scope::hislip2,4881::INSTR"),
    Good("TCPIP0::scope::hislip0,4880::INSTR", "TCPIP0::scope::hislip0::INSTR"),
    Good("USB0::0x0957::0x1796::MY123::INSTR", "USB0::0x0957::0x1796::MY123::INSTR"),
    Good("usb::2391::6038::my123::1::instr", "USB0::0x0957::0x1796::my123::1::INSTR"),
    Bad("TCPIP0::scope::hislip0,0::INSTR"), Bad("TCPIP0::scope::hislipx::INSTR"), Bad("TCPIP0::::INSTR"),
    Bad("TCPIP123::scope::INSTR"), Bad("TCPIP0::scope::inst0::SOCKET"),
    Bad("USB0::0x10000::0x1::SN::INSTR"), Bad("USB0::0x1::0x1::INSTR"), Bad("USB0::0x1::0x1::SN::300::INSTR"),
    Bad("LPT1"), Bad(""),
};
// clang-format on

TEST(ResourceAddress, AcceptsGoodFormsAndNamesTheFault) {
    for (const AddressCase& c : kCases) {
        SCOPED_TRACE(c.text);
        if (c.resource) {
            const ResourceAddress address = ResourceAddress::parse(QLatin1String(c.text));
            EXPECT_EQ(address.resourceName(), QLatin1String(c.resource));
            EXPECT_EQ(address.serial, c.serial);
            continue;
        }
        const Failure failure = failureOf([&] { ResourceAddress::parse(QLatin1String(c.text)); });
        EXPECT_EQ(failure.kindName(), IOError::kindName(c.error).toStdString())
            << failure.message.toStdString();
        EXPECT_TRUE(failure.message.contains(QString::fromLatin1(c.text).trimmed()))
            << failure.message.toStdString();
        EXPECT_EQ(failure.message.contains(u"not supported"_s), c.error == IOError::Unsupported);
    }
}

} // namespace

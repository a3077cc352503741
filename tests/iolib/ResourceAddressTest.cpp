#include "iolib/ResourceAddress.h"
#include "iolib/IOError.h"
#include "iolib/IOManager.h"
#include "iolib/SerialSession.h"
#include "sim/SimBench.h"

#include <gtest/gtest.h>
#include <optional>

using namespace CorvaneIOUtilsLib;

namespace {

struct AddressCase {
    const char* text;
    std::optional<IOError::Kind> error;
    QString resource;      // resourceName() of a good address
    SerialSettings serial; // the settings a good COM address asks for
};

AddressCase Good(const char* text, const char* resource, SerialSettings serial = {}) {
    return {text, std::nullopt, QString::fromLatin1(resource), serial};
}
AddressCase Bad(const char* text, IOError::Kind kind) {
    return {text, kind, {}, {}};
}
SerialSettings Serial(int baud, int parity, int dataBits, int stopBits, int handshake) {
    return {baud, parity, dataBits, stopBits, handshake};
}

class ParseAddress : public ::testing::TestWithParam<AddressCase> {};

TEST_P(ParseAddress, AcceptsGoodFormsAndNamesTheFault) {
    const AddressCase& c = GetParam();
    try {
        const ResourceAddress address = ResourceAddress::parse(QString::fromLatin1(c.text));
        ASSERT_FALSE(c.error.has_value())
            << c.text << " accepted as " << address.resourceName().toStdString();
        EXPECT_EQ(address.resourceName(), c.resource);
        EXPECT_EQ(address.serial, c.serial);
    } catch (const IOError& error) {
        ASSERT_TRUE(c.error.has_value()) << error.what();
        EXPECT_EQ(IOError::kindName(error.kind()), IOError::kindName(*c.error)) << error.what();
        EXPECT_TRUE(error.message().contains(QString::fromLatin1(c.text).trimmed())) << error.what();
    }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Table, ParseAddress, ::testing::Values(
    Good("GPIB0::7::INSTR", "GPIB0::7::INSTR"),
    Good(" gpib1::30::instr ", "GPIB1::30::INSTR"),
    Good("GPIB0::0", "GPIB0::0::INSTR"),
    Good("GPIB::12::INSTR", "GPIB0::12::INSTR"),
    Good("com3", "COM3"),
    Good("COM2::Baud=19200,Handshake=DTR_DSR", "COM2", Serial(19200, 1, 8, 1, 4)),
    Good("COM1::handshake=dtr_dsr,baud=57600", "COM1", Serial(57600, 1, 8, 1, 4)),
    Good("com1 :: baud = 19200", "COM1", Serial(19200, 1, 8, 1, 2)),
    Good("COM1::Baud=9600,Parity=0,Stop=1,Size=8", "COM1"),
    Good("COM4::Parity=EVEN,Size=7,Stop=2,Handshake=NONE", "COM4", Serial(9600, 3, 7, 2, 1)),
    Good("COM1::Parity=5,Handshake=RTS_CTS", "COM1", Serial(9600, 5, 8, 1, 3)),
    Good("TCPIP0::192.168.1.20::5025::SOCKET", "TCPIP0::192.168.1.20::5025::SOCKET"),
    Good("tcpip::scope.lab::5025::socket", "TCPIP0::scope.lab::5025::SOCKET"),
    Bad("GPIB0::31::INSTR", IOError::BadAddress),
    Bad("GPIB0", IOError::BadAddress),
    Bad("GPIB0::x::INSTR", IOError::BadAddress),
    Bad("GPIB0::7::INSTR::9", IOError::BadAddress),
    Bad("GPIB0::INTFC", IOError::Unsupported),
    Bad("COM0", IOError::BadAddress),
    Bad("COM1x", IOError::BadAddress),
    Bad("COM1::", IOError::BadAddress),
    Bad("COM1::Speed=9600", IOError::BadAddress),
    Bad("COM1::Baud=fast", IOError::BadAddress),
    Bad("COM1::Baud=0", IOError::BadAddress),
    Bad("COM1::Handshake=RTS", IOError::BadAddress),
    Bad("COM1::Parity=7", IOError::BadAddress),
    Bad("COM1::Size=9", IOError::BadAddress),
    Bad("COM1::Stop=3", IOError::BadAddress),
    Bad("TCPIP0::host::70000::SOCKET", IOError::BadAddress),
    Bad("TCPIP0::192.168.1.20::INSTR", IOError::Unsupported),
    Bad("USB0::0x1234::0x5678::SN1::INSTR", IOError::Unsupported),
    Bad("LPT1", IOError::BadAddress),
    Bad("", IOError::BadAddress)));
// clang-format on

// Opening parses the same way and then asks the bench whether the port is there.
struct OpenCase {
    const char* address;
    std::optional<IOError::Kind> error;
    const char* ioType;
};

class OpenAddress : public ::testing::TestWithParam<OpenCase> {};

TEST_P(OpenAddress, OpensWhatIsThereAndRefusesTheRest) {
    const OpenCase& c = GetParam();
    IOManager manager(tavrelsim::SimBench::defaultBench());
    try {
        auto session = manager.Open(QString::fromLatin1(c.address));
        ASSERT_FALSE(c.error.has_value()) << "opened " << c.address;
        EXPECT_EQ(session->IOType(), QString::fromLatin1(c.ioType));
        EXPECT_EQ(c.ioType == std::string("ASRL"), dynamic_cast<SerialSession*>(session.get()) != nullptr);
    } catch (const IOError& error) {
        ASSERT_TRUE(c.error.has_value()) << error.what();
        EXPECT_EQ(IOError::kindName(error.kind()), IOError::kindName(*c.error)) << error.what();
    }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(DefaultBench, OpenAddress, ::testing::Values(
    OpenCase{"GPIB0::7::INSTR", {}, "GPIB"},
    OpenCase{"GPIB0::5::INSTR", {}, "GPIB"}, // nobody listens: found out on the first write
    OpenCase{"GPIB2::7::INSTR", IOError::NotFound, ""},
    OpenCase{"COM2::Baud=19200,Handshake=DTR_DSR", {}, "ASRL"},
    OpenCase{"COM3", IOError::NotFound, ""},
    OpenCase{"TCPIP0::host::INSTR", IOError::Unsupported, ""},
    OpenCase{"garbage", IOError::BadAddress, ""}));
// clang-format on

} // namespace

#include "DiscoveryTestSupport.h"
#include "base/MessageBoxSeam.h"
#include "discovery/CQueryInstrument.h"
#include "discovery/IdentificationMessage.h"
#include "iolib/IOError.h"

#include <QThread>
#include <gtest/gtest.h>

using namespace discoverytest;
namespace R = IdentificationResult;

namespace {

CQueryInstrument QueryOn(const std::shared_ptr<CorvaneIOUtilsLib::IOManager>& manager,
                         const CIOconfiguration& configuration = CIOconfiguration()) {
    CQueryInstrument query;
    query.IOConfigurationChanged(0, configuration, manager);
    return query;
}

// COM1 at 19200 baud, even parity and DTR/DSR; GPIB0::9 drops its reply after five bytes.
CQueryInstrument SerialBenchQuery() {
    CIOconfiguration configuration;
    configuration.SetRS232BaudRate(1, 19200);
    configuration.SetRS232Parity(1, CorvaneIOUtilsLib::RS232_Parity_Even);
    configuration.SetRS232Handshake(1, CorvaneIOUtilsLib::RS232_HandShake_DTR_DSR);
    return QueryOn(Bench(R"({
        "com": [{"port": 1, "device": {"kind": "tavrel", "model": "TV200B", "baud": 19200, "parity": "even",
                                       "handshake": "DTR_DSR"}}],
        "gpib": [{"board": 0, "devices": [{"address": 9, "kind": "tavrel", "faults": {"drop_after_bytes": 5}}]}]})"),
                   configuration);
}

} // namespace

TEST(Query, ResultCodesAndReplies) {
    CQueryInstrument query = QueryOn(DefaultBench());
    CQueryInstrument serial = SerialBenchQuery();
    const struct {
        CQueryInstrument* on;
        bool gpibQuery;
        const char* address;
        qint16 code;
        const char* replyStart; // empty: the reply must be empty
    } cases[] = {
        {&query, true, "GPIB0::7::INSTR", R::Supported, "CORVANE TECHNOLOGIES,TV100A,"},
        {&query, true, "GPIB0::3::INSTR", R::NotIEEE488, "HP3478A"},
        {&query, true, "GPIB0::22::INSTR", R::NotFound, ""}, // listed but silent
        {&query, true, "GPIB0::5::INSTR", R::NotFound, ""},  // nothing listens there
        {&query, true, "GPIB2::7::INSTR", R::PortNotFound, ""},
        {&query, true, "COM1", R::WrongAddressKind, ""},
        {&query, false, "COM1", R::Supported, "CORVANE TECHNOLOGIES,TV100A,"},
        // Keywords are ignored: the configuration's settings for COM1 apply.
        {&query, false, "COM1::Baud=19200,Handshake=DTR_DSR", R::Supported, "CORVANE TECHNOLOGIES,TV100A,"},
        {&query, false, "COM3", R::PortNotFound, ""},
        {&query, false, "GPIB0::7::INSTR", R::WrongAddressKind, ""},
        {&query, false, "TCPIP0::scope::INSTR", R::WrongAddressKind, ""},
        {&serial, false, "COM1", R::Supported, "CORVANE TECHNOLOGIES,TV200B,"},
        {&serial, true, "GPIB0::9::INSTR", R::NotFound, ""}, // a reply cut short is a failed exchange
    };
    for (const auto& c : cases) {
        const QString address = QString::fromLatin1(c.address);
        QString reply = QStringLiteral("stale");
        EXPECT_EQ(c.gpibQuery ? c.on->GPIBIDNQuery(address, reply) : c.on->RS232IDNQuery(address, reply),
                  c.code)
            << c.address;
        EXPECT_TRUE(*c.replyStart ? reply.startsWith(QString::fromLatin1(c.replyStart)) : reply.isEmpty())
            << c.address << ": " << reply.toStdString();
    }
}

TEST(Query, FlushEmptiesTheReceiveBufferAndRestoresTheTimeout) {
    const auto manager = DefaultBench();
    const auto session = manager->Open(QStringLiteral("COM1"));
    session->SetTimeout(1234);
    session->WriteString(QStringLiteral("*IDN?"));
    QThread::msleep(20);
    CQueryInstrument().FlushRXBuffer(*session);
    EXPECT_EQ(session->Timeout(), 1234);
    session->SetTimeout(50);
    EXPECT_THROW(session->ReadBytes(1), CorvaneIOUtilsLib::IOError);
}

TEST(QueryTest, ShowsAndReturnsTheMessage) {
    const struct {
        const char* name;
        bool serialBench; // else the default bench
        const char* address;
        int language;
        qint16 code;
        bool caution;
    } cases[] = {
        {"XON/XOFF port", false, "COM1", kEnglish, R::Supported, true},
        {"XON/XOFF port in French", false, "COM1", kFrench, R::Supported, true},
        {"DTR/DSR port", true, "COM1::Baud=19200,Handshake=DTR_DSR", kEnglish, R::Supported, false},
        {"GPIB scope", false, "GPIB0::7::INSTR", kFrench, R::Supported, false},
        {"absent COM port", false, "COM4", kFrench, R::PortNotFound, false},
    };
    struct MessageBoxes { // keeps the boxes Test shows
        QList<MessageBoxRequest> shown;
        MessageBoxes() {
            SetMessageBoxHandler([this](const MessageBoxRequest& box) {
                shown.append(box);
                return kMessageBoxResultOK;
            });
        }
        ~MessageBoxes() { SetMessageBoxHandler(nullptr); }
    } boxes;
    QList<MessageBoxRequest>& shown = boxes.shown;
    for (const auto& c : cases) {
        Language selected(c.language);
        shown.clear();
        CQueryInstrument query = c.serialBench ? SerialBenchQuery() : QueryOn(DefaultBench());
        const QString address = QString::fromLatin1(c.address);
        QString reply;
        const TestOutcome outcome = query.Test(0, address, reply);
        EXPECT_EQ(outcome.code, c.code) << c.name;
        EXPECT_EQ(outcome.title, T(220)) << c.name;
        EXPECT_EQ(outcome.message,
                  IdentificationMessage(c.code, address, reply, address.startsWith(QStringLiteral("GPIB")),
                                        c.caution))
            << c.name;
        ASSERT_EQ(shown.size(), 1) << c.name;
        EXPECT_EQ(shown[0].text, outcome.message) << c.name;
        EXPECT_EQ(shown[0].title, outcome.title) << c.name;
        EXPECT_EQ(shown[0].style, 65600) << c.name;
    }
}

#include "DiscoveryTestSupport.h"
#include "discovery/CQueryInstrument.h"

#include <deque>
#include <gtest/gtest.h>

using namespace discoverytest;
namespace R = IdentificationResult;

TEST(Identification, ReplyJudgement) {
    const struct {
        const char* reply;
        qint16 code;
    } cases[] = {
        {"", R::NotFound},
        {"HP3478A", R::NotIEEE488},
        {" ", R::NotIEEE488},
        {"CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02", R::Supported},
        {"OTHER MAKER,XYZ-9,1,2", R::Supported}, // the model is not checked at all
        {",", R::Supported},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CQueryInstrument::IsValidInstrument(QString::fromLatin1(c.reply)), c.code) << c.reply;
    EXPECT_EQ(CQueryInstrument::ModelCompatibility(QStringLiteral("XYZ")), R::Supported);
}

TEST(Identification, AppendAddressAtShowsGPIBWholeAndRS232PortOnly) {
    const struct {
        const char* address;
        const char* shown;
    } cases[] = {
        {"GPIB0::7::INSTR", "GPIB0::7::INSTR"},
        {"TCPIP0::scope::INSTR", "TCPIP0::scope::INSTR"},
        {"COM1", "COM1"},
        {"COM2::Baud=19200,Handshake=DTR_DSR", "COM2"},
    };
    CQueryInstrument query;
    for (const auto& c : cases)
        EXPECT_EQ(query.AppendAddressAt(QStringLiteral("Text"), QString::fromLatin1(c.address)),
                  QStringLiteral("Text") + AtAddress(QString::fromLatin1(c.shown)))
            << c.address;
}

namespace {

// Hands out the given readings, then repeats the last one.
CQueryInstrument::TickSource Ticks(std::initializer_list<quint32> readings, int* reads = nullptr) {
    auto queue = std::make_shared<std::deque<quint32>>(readings);
    return [queue, reads]() {
        if (reads) ++*reads;
        const quint32 tick = queue->front();
        if (queue->size() > 1) queue->pop_front();
        return tick;
    };
}

} // namespace

TEST(Identification, WaitEndsOnlyPastEntryPlusDelayAndRaisesWhenTheTickCountWraps) {
    CQueryInstrument query;
    int reads = 0;
    query.SetTickSource(Ticks({1000, 1020, 1050, 1051, 5000}, &reads)); // 1050 is not past 1000 + 50
    query.Wait(50);
    EXPECT_EQ(reads, 4);

    query.SetTickSource(Ticks({0xFFFFFFF0u, 0xFFFFFFF8u, 5}));
    ExpectRefusal([&] { query.Wait(50); }, T(106),
                  {"Assertion: false", "File: CQueryInstrument", "Function: Wait", "Location: ElseIf"},
                  "wrap");
}

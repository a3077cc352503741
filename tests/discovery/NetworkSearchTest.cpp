// The search after the ports: LAN instruments from the control's LAN list, side by side, only those
// that answer becoming rows; the port rows stay as they were.
#include "DiscoveryTestSupport.h"
#include "discovery/CQueryInstrument.h"
#include "discovery/InstrumentSearch.h"
#include "support/LoopbackListener.h"

#include <QElapsedTimer>
#include <gtest/gtest.h>
#include <poll.h>
#include <thread>

using namespace discoverytest;

namespace {

// A plain-socket instrument on 127.0.0.1: answers "*IDN?" with reply, or never when reply is empty.
class SocketInstrument {
public:
    explicit SocketInstrument(QByteArray reply) : m_reply(std::move(reply)) {
        m_listener = ListenOnLoopback(m_port);
        m_thread = std::thread([this] { serve(); });
    }
    ~SocketInstrument() {
        m_stop = true;
        m_thread.join();
        ::close(m_listener);
    }
    QString address() const { return QStringLiteral("TCPIP0::127.0.0.1::%1::SOCKET").arg(m_port); }

private:
    void serve() {
        while (!m_stop) {
            pollfd p{m_listener, POLLIN, 0};
            if (::poll(&p, 1, 50) <= 0) continue;
            const int client = ::accept(m_listener, nullptr, nullptr);
            QByteArray got;
            char buffer[256];
            pollfd c{client, POLLIN, 0};
            while (!m_stop && !got.contains('\n') && ::poll(&c, 1, 50) >= 0) {
                if (!(c.revents & POLLIN)) continue;
                const ssize_t n = ::read(client, buffer, sizeof buffer);
                if (n <= 0) break;
                got.append(buffer, n);
            }
            if (got.contains("*IDN?") && !m_reply.isEmpty())
                (void)!::write(client, m_reply.constData(), m_reply.size());
            while (!m_stop && m_reply.isEmpty() && ::poll(&c, 1, 50) >= 0 && !(c.revents & POLLHUP)) {
                if ((c.revents & POLLIN) && ::read(client, buffer, sizeof buffer) <= 0) break;
            }
            ::close(client);
        }
    }

    QByteArray m_reply;
    quint16 m_port = 0;
    int m_listener = -1;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

TEST(NetworkSearch, ListedLanInstrumentsThatAnswerBecomeRowsAfterThePorts) {
    SocketInstrument answering("ACME,LANSCOPE 5,SN1,1.0\n"), silent(""), unknown("no comma here\n");
    const auto manager = DefaultBench();
    manager->SetListedLanInstruments({answering.address(), silent.address(), unknown.address()});

    InstrumentSearch search(CIOconfiguration(), manager, answering.address(), 0);
    search.setRefreshPortsFirst(true);
    QElapsedTimer clock;
    clock.start();
    const SearchResult result = search.run();
    const qint64 elapsed = clock.elapsed();

    ASSERT_GE(result.rows.size(), 7);
    const QList<SearchRow> lan = result.rows.mid(result.rows.size() - 2);
    EXPECT_EQ(result.rows.first().address, QStringLiteral("COM1")) << "the ports come first, as before";
    EXPECT_EQ(lan[0].address, answering.address());
    EXPECT_EQ(lan[0].manufacturer, QStringLiteral("ACME"));
    EXPECT_EQ(lan[0].result, IdentificationResult::Supported);
    EXPECT_EQ(lan[1].address, unknown.address());
    EXPECT_EQ(lan[1].result, IdentificationResult::NotIEEE488);
    EXPECT_EQ(result.selectedIndex, result.rows.size() - 1) << "the connected LAN instrument is selected";
    EXPECT_FALSE(result.cancelled || result.error);
    // The silent instrument costs one query timeout, side by side with the others.
    EXPECT_LT(elapsed, 3 * CQueryInstrument::kQueryTimeoutMs + 5000);
}

TEST(NetworkSearch, ACancelledSearchProbesNoLanInstrument) {
    SocketInstrument answering("ACME,LANSCOPE 5,SN1,1.0\n");
    const auto manager = DefaultBench();
    manager->SetListedLanInstruments({answering.address()});
    InstrumentSearch search(CIOconfiguration(), manager, QString(), 0);
    search.setRefreshPortsFirst(true);
    // Cancelled while the first port is being probed.
    QObject::connect(
        &search, &InstrumentSearch::progress, &search, [&] { search.cancel(); }, Qt::DirectConnection);
    search.start();
    const SearchResult result = search.waitForFinished();
    EXPECT_TRUE(result.cancelled);
    for (const SearchRow& row : result.rows)
        EXPECT_NE(row.address, answering.address());
}

} // namespace

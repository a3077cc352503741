#include "iolib/IOError.h"
#include "iolib/IOManager.h"

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <atomic>
#include <future>
#include <gtest/gtest.h>

using namespace CorvaneIOUtilsLib;

namespace {

// An instrument on a raw SCPI socket on localhost, served from its own thread with blocking calls.
class SocketInstrument : public QThread {
public:
    SocketInstrument() {
        start();
        m_port = m_ready.get_future().get();
    }
    ~SocketInstrument() override {
        m_stop = true;
        wait();
    }
    QString address() const { return QStringLiteral("TCPIP0::127.0.0.1::%1::SOCKET").arg(m_port); }

protected:
    void run() override {
        QTcpServer server;
        server.listen(QHostAddress::LocalHost, 0);
        m_ready.set_value(server.serverPort());
        while (!m_stop)
            if (server.waitForNewConnection(20))
                serve(std::unique_ptr<QTcpSocket>(server.nextPendingConnection()));
    }

private:
    void serve(std::unique_ptr<QTcpSocket> socket) {
        auto send = [&](const QByteArray& bytes) {
            socket->write(bytes);
            socket->waitForBytesWritten(1000);
            QThread::msleep(20); // separate segments
        };
        QByteArray input;
        while (!m_stop && socket->state() == QAbstractSocket::ConnectedState) {
            if (socket->waitForReadyRead(20)) input += socket->readAll();
            for (qsizetype at; (at = input.indexOf('\n')) >= 0; input.remove(0, at + 1)) {
                const QByteArray command = input.left(at);
                if (command == "*IDN?") {
                    send("CORVANE TECHNOLOGIES,TV100A,CT1,A.01.02\n");
                } else if (command == "BLOCK?") {
                    send("#2");
                    send("100123\n");
                    send("5678\n");
                } else if (command == "BYE") {
                    socket->disconnectFromHost();
                    return;
                }
            }
        }
    }

    std::promise<quint16> m_ready;
    quint16 m_port = 0;
    std::atomic<bool> m_stop{false};
};

IOError::Kind errorKind(const std::function<void()>& body) {
    try {
        body();
    } catch (const IOError& error) {
        return error.kind();
    }
    ADD_FAILURE() << "no error";
    return IOError::Io;
}

TEST(Lan, QueriesReadsBlocksInPiecesAndNoticesTheEnd) {
    SocketInstrument instrument;
    IOManager manager;
    auto session = manager.Open(instrument.address());
    EXPECT_EQ(session->IOType(), QStringLiteral("TCPIP"));
    EXPECT_EQ(session->Query(QStringLiteral("*IDN?")),
              QStringLiteral("CORVANE TECHNOLOGIES,TV100A,CT1,A.01.02"));
    session->WriteString(QStringLiteral("BLOCK?\n"));
    EXPECT_EQ(session->ReadIEEEBlock(), QByteArray("0123\n5678\n"));

    session->SetTimeout(200);
    session->WriteString(QStringLiteral("NOTHING?\n"));
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(errorKind([&] { session->ReadString(); }), IOError::Timeout);
    EXPECT_LT(clock.elapsed(), 200 + 2000);

    session->WriteString(QStringLiteral("BYE\n"));
    EXPECT_EQ(errorKind([&] { session->ReadString(); }), IOError::Dropped);
}

TEST(Lan, NothingListeningIsNotFound) {
    quint16 closedPort = 0;
    {
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost, 0);
        closedPort = probe.serverPort();
    }
    try {
        IOManager().Open(QStringLiteral("TCPIP0::127.0.0.1::%1::SOCKET").arg(closedPort));
        ADD_FAILURE() << "connected";
    } catch (const IOError& error) {
        EXPECT_EQ(error.kind(), IOError::NotFound) << error.what();
        EXPECT_TRUE(error.message().contains(QStringLiteral("127.0.0.1:%1").arg(closedPort))) << error.what();
    }
}

} // namespace

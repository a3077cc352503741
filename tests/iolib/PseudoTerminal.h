#pragma once

#include <QByteArray>
#include <QString>
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

// A pseudo-terminal pair: the library opens the slave side as a serial port, the test plays the
// instrument on the master side. Replies can be queued before the query that asks for them.
class PseudoTerminal {
public:
    PseudoTerminal() {
        m_master = posix_openpt(O_RDWR | O_NOCTTY);
        if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0) return;
        m_slavePath = QString::fromLocal8Bit(ptsname(m_master));
        // Held open so that the pair lives on between sessions, and to read the line settings.
        m_slave = ::open(ptsname(m_master), O_RDWR | O_NOCTTY);
    }
    ~PseudoTerminal() {
        hangUp();
        if (m_slave >= 0) ::close(m_slave);
    }

    bool ok() const { return m_master >= 0 && m_slave >= 0; }
    QString slavePath() const { return m_slavePath; }
    int slaveFd() const { return m_slave; }

    void reply(const QByteArray& bytes) { (void)::write(m_master, bytes.constData(), bytes.size()); }
    // What the port has sent so far.
    QByteArray received() {
        QByteArray bytes;
        char buffer[512];
        pollfd waiting{m_master, POLLIN, 0};
        while (::poll(&waiting, 1, 0) > 0 && (waiting.revents & POLLIN)) {
            const ssize_t got = ::read(m_master, buffer, sizeof buffer);
            if (got <= 0) break;
            bytes.append(buffer, got);
        }
        return bytes;
    }
    // The device goes away.
    void hangUp() {
        if (m_master >= 0) ::close(m_master);
        m_master = -1;
    }

private:
    int m_master = -1;
    int m_slave = -1;
    QString m_slavePath;
};

#include "PtyPort.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

using tavrelsim::SimSerialSettings;

namespace {

const QList<QPair<int, speed_t>> Speeds{{1200, B1200},   {2400, B2400},   {4800, B4800},   {9600, B9600},
                                        {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200}};

termios toTermios(const SimSerialSettings& s) {
    termios t{};
    cfmakeraw(&t);
    t.c_cflag |= CREAD | CLOCAL;
    t.c_cflag &= ~(CSIZE | PARENB | PARODD | CMSPAR | CSTOPB | CRTSCTS);
    t.c_cflag |= s.dataBits == 7 ? CS7 : CS8;
    if (s.parity != 1)
        t.c_cflag |= PARENB | ((s.parity == 2 || s.parity == 4) ? PARODD : 0) | (s.parity >= 4 ? CMSPAR : 0);
    if (s.stopBits == 2) t.c_cflag |= CSTOPB;
    if (s.handshake == 2) t.c_iflag |= IXON | IXOFF;
    if (s.handshake == 3) t.c_cflag |= CRTSCTS;
    for (const auto& [baud, code] : Speeds) {
        if (baud == s.baudRate) {
            cfsetispeed(&t, code);
            cfsetospeed(&t, code);
        }
    }
    return t;
}

} // namespace

PtyPort::~PtyPort() {
    close();
}

bool PtyPort::open(const SimSerialSettings& initial, const QString& linkDir, const QString& name,
                   QString* error) {
    auto failed = [&](const QString& what) {
        *error = what + ": " + QString::fromLocal8Bit(strerror(errno));
        close();
        return false;
    };
    m_master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m_master < 0) return failed("posix_openpt");
    if (grantpt(m_master) != 0 || unlockpt(m_master) != 0) return failed("grantpt/unlockpt");
    char path[128];
    if (ptsname_r(m_master, path, sizeof path) != 0) return failed("ptsname");
    m_slavePath = QString::fromLocal8Bit(path);
    m_slave = ::open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m_slave < 0) return failed("open " + m_slavePath);
    const termios t = toTermios(initial);
    if (tcsetattr(m_slave, TCSANOW, &t) != 0) return failed("tcsetattr");
    fcntl(m_master, F_SETFL, fcntl(m_master, F_GETFL) | O_NONBLOCK);
    if (!linkDir.isEmpty()) {
        const QString link = QDir(linkDir).filePath(name);
        if (QFileInfo(link).isSymLink()) QFile::remove(link);
        if (::symlink(path, QFile::encodeName(link).constData()) != 0) return failed("symlink " + link);
        m_linkPath = link;
    }
    return true;
}

void PtyPort::close() {
    if (!m_linkPath.isEmpty() && QFileInfo(m_linkPath).symLinkTarget() == m_slavePath)
        QFile::remove(m_linkPath);
    m_linkPath.clear();
    if (m_slave >= 0) ::close(m_slave);
    if (m_master >= 0) ::close(m_master);
    m_slave = m_master = -1;
}

SimSerialSettings PtyPort::hostSettings() const {
    // On Linux the master reports the slave's termios, which is what the host has set.
    termios t{};
    SimSerialSettings s;
    if (tcgetattr(m_master, &t) != 0) return s;
    s.baudRate = 0;
    for (const auto& [baud, code] : Speeds) {
        if (code == cfgetospeed(&t)) s.baudRate = baud;
    }
    switch (t.c_cflag & CSIZE) {
    case CS5:
        s.dataBits = 5;
        break;
    case CS6:
        s.dataBits = 6;
        break;
    case CS7:
        s.dataBits = 7;
        break;
    default:
        s.dataBits = 8;
        break;
    }
    s.stopBits = (t.c_cflag & CSTOPB) ? 2 : 1;
    if (!(t.c_cflag & PARENB))
        s.parity = 1;
    else if (t.c_cflag & CMSPAR)
        s.parity = (t.c_cflag & PARODD) ? 4 : 5;
    else
        s.parity = (t.c_cflag & PARODD) ? 2 : 3;
    if (t.c_cflag & CRTSCTS)
        s.handshake = 3;
    else if (t.c_iflag & (IXON | IXOFF))
        s.handshake = 2;
    else
        s.handshake = 1;
    return s;
}

void PtyPort::writeAll(const QByteArray& bytes, const std::atomic<bool>& stop) const {
    qsizetype done = 0;
    int idle = 0;
    // A host that stops reading fills the line's buffer; after two seconds of that the rest is
    // lost, as on a serial line without flow control.
    while (done < bytes.size() && !stop && idle < 20) {
        const ssize_t n = ::write(m_master, bytes.constData() + done, size_t(bytes.size() - done));
        if (n > 0) {
            done += n;
            idle = 0;
        } else if (n < 0 && errno != EAGAIN && errno != EINTR) {
            return;
        } else {
            pollfd p{m_master, POLLOUT, 0};
            if (::poll(&p, 1, 100) == 0) ++idle;
        }
    }
}

QString PtyPort::describe(const SimSerialSettings& s) {
    static const char* parity = "?NOEMS";
    static const char* handshake[] = {"?", "no handshake", "XON/XOFF", "RTS/CTS", "DTR/DSR"};
    return QString("%1 %2%3%4 %5")
        .arg(s.baudRate)
        .arg(s.dataBits)
        .arg(QChar(parity[std::clamp(s.parity, 0, 5)]))
        .arg(s.stopBits)
        .arg(handshake[std::clamp(s.handshake, 0, 4)]);
}

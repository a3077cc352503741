#include "iolib/backends/UsbtmcTransport.h"

#include "iolib/IOError.h"

#include <QDeadlineTimer>
#include <QFile>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/usb/tmc.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace CorvaneIOUtilsLib {

namespace {

// The driver refuses timeouts under 100 ms.
constexpr int kDriverMinimumTimeoutMs = 100;

bool deviceGone(int error) {
    return error == EIO || error == ENODEV || error == ENXIO || error == ESHUTDOWN || error == EPIPE;
}

// Waits for the file to be ready for events; false at the deadline.
bool waitFor(int fd, short events, int timeoutMs) {
    pollfd p{fd, events, 0};
    const QDeadlineTimer deadline(timeoutMs);
    while (true) {
        const int left = static_cast<int>(std::clamp<qint64>(deadline.remainingTime(), 0, timeoutMs));
        const int n = ::poll(&p, 1, left);
        if (n > 0) return true;
        if (n == 0) return false;
        if (errno != EINTR) return true; // the read or write that follows reports it
    }
}

} // namespace

UsbtmcTransport::UsbtmcTransport(const QString& devicePath, QString resource)
    : m_resource(std::move(resource)) {
    m_fd = ::open(QFile::encodeName(devicePath).constData(), O_RDWR | O_CLOEXEC | O_NOCTTY);
    if (m_fd < 0) {
        const int error = errno;
        if (error == ENOENT || error == ENODEV || error == ENXIO)
            throw IOError(IOError::NotFound,
                          QStringLiteral("%1: %2 is not there (the instrument was unplugged?)")
                              .arg(m_resource, devicePath));
        if (error == EACCES || error == EPERM)
            throw IOError(IOError::Io,
                          QStringLiteral("%1: no permission to open %2 (see the udev rule in the I/O "
                                         "library's notes)")
                              .arg(m_resource, devicePath));
        throw IOError(IOError::Io, QStringLiteral("%1: cannot open %2: %3")
                                       .arg(m_resource, devicePath, QString::fromLocal8Bit(strerror(error))));
    }
    __u32 version = 0;
    m_driver = ::ioctl(m_fd, USBTMC_IOCTL_API_VERSION, &version) == 0;
}

UsbtmcTransport::~UsbtmcTransport() {
    close();
}

void UsbtmcTransport::fail(const QString& what, int error) const {
    if (deviceGone(error))
        throw IOError(IOError::Dropped,
                      QStringLiteral("%1: the instrument went away while %2").arg(m_resource, what));
    if (error == ETIMEDOUT)
        throw IOError(IOError::Timeout, QStringLiteral("%1: timed out while %2").arg(m_resource, what));
    throw IOError(
        IOError::Io,
        QStringLiteral("%1: %2 failed: %3").arg(m_resource, what, QString::fromLocal8Bit(strerror(error))));
}

void UsbtmcTransport::setDriverTimeout(int timeoutMs) {
    const int wanted = std::max(timeoutMs, kDriverMinimumTimeoutMs);
    if (!m_driver || wanted == m_driverTimeoutMs) return;
    __u32 value = static_cast<__u32>(wanted);
    if (::ioctl(m_fd, USBTMC_IOCTL_SET_TIMEOUT, &value) == 0) m_driverTimeoutMs = wanted;
}

void UsbtmcTransport::write(const QByteArray& bytes, int timeoutMs) {
    if (m_fd < 0) throw IOError(IOError::Dropped, m_resource + QStringLiteral(": the session is closed"));
    setDriverTimeout(timeoutMs);
    const QDeadlineTimer deadline(timeoutMs);
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        if (!m_driver &&
            !waitFor(m_fd, POLLOUT, static_cast<int>(std::max<qint64>(deadline.remainingTime(), 0))))
            throw IOError(IOError::Timeout, QStringLiteral("%1: the instrument took no data within %2 ms")
                                                .arg(m_resource)
                                                .arg(timeoutMs));
        const ssize_t n = ::write(m_fd, bytes.constData() + sent, static_cast<size_t>(bytes.size() - sent));
        if (n < 0) {
            if (errno == EINTR || errno == EAGAIN) continue;
            fail(QStringLiteral("writing"), errno);
        }
        sent += n;
    }
}

ReadCount UsbtmcTransport::readInto(char* out, qsizetype maxBytes, int timeoutMs) {
    if (m_fd < 0) return {0, false, ReadChunk::Dropped};
    setDriverTimeout(timeoutMs);
    // The driver waits itself (a read asks the instrument for data); anything else is polled.
    if (!m_driver && !waitFor(m_fd, POLLIN, timeoutMs)) return {0, false, ReadChunk::Timeout};
    while (true) {
        const ssize_t n = ::read(m_fd, out, static_cast<size_t>(maxBytes));
        if (n > 0) return {n, false, ReadChunk::Ok};
        if (n == 0) return {0, false, ReadChunk::Dropped};
        const int error = errno;
        if (error == EINTR) continue;
        if (error == ETIMEDOUT || error == EAGAIN) return {0, false, ReadChunk::Timeout};
        if (deviceGone(error)) return {0, false, ReadChunk::Dropped};
        fail(QStringLiteral("reading"), error);
    }
}

ReadChunk UsbtmcTransport::read(qsizetype maxBytes, int timeoutMs) {
    ReadChunk chunk;
    chunk.data.resize(std::min<qsizetype>(maxBytes, 64 * 1024));
    const ReadCount count = readInto(chunk.data.data(), chunk.data.size(), timeoutMs);
    chunk.data.resize(count.count);
    chunk.status = count.status;
    return chunk;
}

void UsbtmcTransport::clear(int timeoutMs) {
    if (m_fd < 0) return;
    if (m_driver) {
        setDriverTimeout(timeoutMs);
        if (::ioctl(m_fd, USBTMC_IOCTL_CLEAR) != 0) fail(QStringLiteral("clearing the instrument"), errno);
        return;
    }
    char sink[4096];
    while (waitFor(m_fd, POLLIN, 0) && ::read(m_fd, sink, sizeof sink) > 0) {
    }
}

void UsbtmcTransport::close() {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
}

} // namespace CorvaneIOUtilsLib

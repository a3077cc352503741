#include "iolib/backends/SerialPortBackend.h"

#include "iolib/IOError.h"
#include "iolib/IOTrace.h"
#include "iolib/SerialLineSession.h"
#include "iolib/backends/SerialPortTransport.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace CorvaneIOUtilsLib {

SerialPortBackend::SerialPortBackend(QMap<int, QString> devices) : m_devices(std::move(devices)) {}

QMap<int, QString> SerialPortBackend::devicesFromEnvironment() {
    QMap<int, QString> devices;
    if (!qEnvironmentVariableIsSet("TAVREL_COM_PORTS")) {
        for (int port = 1; port <= 4; ++port)
            devices.insert(port, QStringLiteral("/dev/ttyS%1").arg(port - 1));
        return devices;
    }
    static const QRegularExpression item(QStringLiteral("^\\s*COM(\\d{1,3})\\s*=\\s*(\\S.*?)\\s*$"),
                                         QRegularExpression::CaseInsensitiveOption);
    const QStringList items =
        qEnvironmentVariable("TAVREL_COM_PORTS").split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (const QString& text : items) {
        const QRegularExpressionMatch match = item.match(text);
        if (match.hasMatch() && match.captured(1).toInt() >= 1)
            devices.insert(match.captured(1).toInt(), match.captured(2));
        else
            Trace(QStringLiteral("TAVREL_COM_PORTS: \"%1\" is not COM<n>=<device>; ignored").arg(text));
    }
    return devices;
}

bool SerialPortBackend::deviceUsable(const QString& path) {
    // Non-blocking, so that a port waiting for carrier cannot hang a listing; closed again at once.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return errno == EBUSY; // held exclusively by an open session: it is there
    ::close(fd);
    return true;
}

QStringList SerialPortBackend::list(const QString& literalPrefix) {
    QStringList entries;
    for (auto it = m_devices.cbegin(); it != m_devices.cend(); ++it) {
        const QString name = QStringLiteral("COM%1").arg(it.key());
        if (couldMatch(literalPrefix, name) && deviceUsable(it.value())) entries << name;
    }
    return entries;
}

std::unique_ptr<IOSession> SerialPortBackend::open(const ResourceAddress& address) {
    const QString name = address.resourceName();
    const auto device = m_devices.constFind(address.comPort);
    if (device == m_devices.cend())
        throw IOError(
            IOError::NotFound,
            QStringLiteral("%1 does not exist on this computer (no device is mapped to it)").arg(name));
    if (!QFileInfo::exists(*device))
        throw IOError(
            IOError::NotFound,
            QStringLiteral("%1 does not exist on this computer (%2 is missing)").arg(name, *device));
    return std::make_unique<SerialLineSession>(name, std::make_unique<SerialPortTransport>(*device, name),
                                               address.serial);
}

} // namespace CorvaneIOUtilsLib

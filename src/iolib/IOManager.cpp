#include "iolib/IOManager.h"

#include "iolib/IOBackend.h"
#include "iolib/IOBackendRegistry.h"
#include "iolib/IOError.h"
#include "iolib/backends/GpibBackend.h"
#include "iolib/backends/HislipBackend.h"
#include "iolib/backends/LanBackend.h"
#include "iolib/backends/SerialPortBackend.h"
#include "iolib/backends/UsbtmcBackend.h"
#include "iolib/backends/Vxi11Backend.h"

#include <QRegularExpression>
#include <stdexcept>

namespace CorvaneIOUtilsLib {

namespace {

QString prefixOf(ResourceAddress::Kind kind) {
    switch (kind) {
    case ResourceAddress::Gpib:
        return QStringLiteral("GPIB");
    case ResourceAddress::Com:
        return QStringLiteral("COM");
    case ResourceAddress::TcpSocket:
    case ResourceAddress::Vxi11:
    case ResourceAddress::Hislip:
        return QStringLiteral("TCPIP");
    case ResourceAddress::Usb:
        return QStringLiteral("USB");
    }
    return {};
}

// The patterns callers use are globs: '*' any text, '?' any one character.
QRegularExpression globToRegex(const QString& pattern) {
    QString regex = QStringLiteral("^");
    for (QChar c : pattern) {
        if (c == QLatin1Char('*'))
            regex += QStringLiteral(".*");
        else if (c == QLatin1Char('?'))
            regex += QLatin1Char('.');
        else
            regex += QRegularExpression::escape(QString(c));
    }
    regex += QLatin1Char('$');
    return QRegularExpression(regex, QRegularExpression::CaseInsensitiveOption);
}

} // namespace

std::shared_ptr<IOManager> IOManager::create() {
    const QString io = qEnvironmentVariable("TAVREL_IO").trimmed();
    if (io.isEmpty()) return std::make_shared<IOManager>();
    const qsizetype colon = io.indexOf(QLatin1Char(':'));
    const QString name = colon < 0 ? io : io.left(colon);
    if (const IOBackendRegistry::Factory factory = IOBackendRegistry::find(name))
        return std::make_shared<IOManager>(factory(colon < 0 ? QString() : io.mid(colon + 1)), true);
    if (name == QStringLiteral("sim"))
        throw IOError(IOError::Unsupported,
                      QStringLiteral("TAVREL_IO=\"%1\": this build has no simulated bench").arg(io));
    throw IOError(IOError::Unsupported,
                  QStringLiteral("TAVREL_IO=\"%1\" is not understood: leave it unset, or name one of this "
                                 "build's I/O backends (%2)")
                      .arg(io, IOBackendRegistry::names().join(QStringLiteral(", "))));
}

IOManager::IOManager() {
    m_backends.push_back(std::make_unique<GpibBackend>(GpibLibrary::load()));
    m_backends.push_back(std::make_unique<SerialPortBackend>(SerialPortBackend::devicesFromEnvironment()));
    m_backends.push_back(std::make_unique<LanBackend>());
    m_backends.push_back(std::make_unique<Vxi11Backend>());
    m_backends.push_back(std::make_unique<HislipBackend>());
    m_backends.push_back(std::make_unique<UsbtmcBackend>());
}

IOManager::IOManager(std::vector<std::unique_ptr<IOBackend>> backends, bool simulated)
    : m_backends(std::move(backends)), m_simulated(simulated) {}

IOManager::~IOManager() = default;

QStringList IOManager::FindRsrc(const QString& pattern) const {
    const QString wanted = pattern.trimmed();
    const bool wildcard = wanted.contains(QLatin1Char('*')) || wanted.contains(QLatin1Char('?'));
    const qsizetype firstWildcard = [&] {
        for (qsizetype i = 0; i < wanted.size(); ++i)
            if (wanted[i] == QLatin1Char('*') || wanted[i] == QLatin1Char('?')) return i;
        return wanted.size();
    }();
    const QString literal = wanted.left(firstWildcard).toUpper();
    const QRegularExpression glob = globToRegex(wanted);

    // A pattern without wildcards names a port ("GPIB0", "COM3") or an entry: the entries of that port.
    auto matches = [&](const QString& entry) {
        if (wildcard) return glob.match(entry).hasMatch();
        return entry.compare(wanted, Qt::CaseInsensitive) == 0 ||
               entry.startsWith(wanted + QStringLiteral("::"), Qt::CaseInsensitive);
    };

    QStringList found;
    for (const auto& backend : m_backends) {
        bool relevant = false;
        for (ResourceAddress::Kind kind : backend->kinds())
            relevant = relevant || IOBackend::couldMatch(literal, prefixOf(kind));
        if (!relevant) continue;
        for (const QString& entry : backend->list(literal))
            if (matches(entry) && !found.contains(entry)) found << entry;
    }
    if (IOBackend::couldMatch(literal, QStringLiteral("TCPIP")))
        for (const QString& entry : ListedLanInstruments())
            if (matches(entry) && !found.contains(entry, Qt::CaseInsensitive)) found << entry;
    return found;
}

void IOManager::SetListedLanInstruments(const QStringList& resources) {
    std::lock_guard lock(m_listedMutex);
    m_listedLan = resources;
}

QStringList IOManager::ListedLanInstruments() const {
    std::lock_guard lock(m_listedMutex);
    return m_listedLan;
}

std::unique_ptr<IOSession> IOManager::Open(const QString& address) const {
    const ResourceAddress parsed = ResourceAddress::parse(address);
    for (const auto& backend : m_backends)
        if (backend->kinds().contains(parsed.kind)) return backend->open(parsed);
    if (parsed.kind != ResourceAddress::Gpib && parsed.kind != ResourceAddress::Com)
        throw IOError(
            IOError::Unsupported,
            QStringLiteral("%1: this address form is not supported here").arg(parsed.resourceName()));
    throw IOError(
        IOError::NotFound,
        QStringLiteral("%1: there are no %2 ports here").arg(parsed.resourceName(), prefixOf(parsed.kind)));
}

} // namespace CorvaneIOUtilsLib

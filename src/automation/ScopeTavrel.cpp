#include "automation/ScopeTavrel.h"

#include "automation/ServerError.h"
#include "automation/UtilitiesTavrel.h"
#include "iolib/IOManager.h"
#include "iolib/IOSession.h"

namespace BrumelTB {

namespace {
// Every Tavrel-series model number begins with these letters.
const QString kSeriesPrefix = QStringLiteral("TV");
} // namespace

ScopeTavrel::ScopeTavrel(std::shared_ptr<CorvaneIOUtilsLib::IOManager> manager)
    : m_manager(std::move(manager)), m_utilities(std::make_unique<UtilitiesTavrel>(*this)) {}

ScopeTavrel::~ScopeTavrel() { Close(); }

void ScopeTavrel::Open(const QString& address) {
    Close();
    if (!m_manager)
        throw ServerError(QStringLiteral("no I/O manager to open %1 with").arg(address));
    m_session = m_manager->Open(address);
    m_connectionName = m_session->ResourceName();
}

void ScopeTavrel::Close() {
    if (m_session) {
        m_session->Close();
        m_session.reset();
    }
}

CorvaneIOUtilsLib::IOSession& ScopeTavrel::IO() {
    if (!m_session)
        throw ServerError(QStringLiteral("no connection to an instrument is open"));
    return *m_session;
}

void ScopeTavrel::Reset() {
    IO().WriteString(QStringLiteral("*RST\n"));
    IO().Query(QStringLiteral("*OPC?"));
}

QString ScopeTavrel::Identify() { return IO().Query(QStringLiteral("*IDN?")).trimmed(); }

bool ScopeTavrel::IsCompatible() { return IsTavrelIdentity(Identify()); }

UtilitiesTavrel& ScopeTavrel::Utilities() { return *m_utilities; }

void ScopeTavrel::CheckInstrumentErrors() {
    // An entry reads "<code>,\"<text>\""; code 0 means the queue is empty.
    const QString entry = IO().Query(QStringLiteral(":SYSTem:ERRor?")).trimmed();
    if (entry.section(QLatin1Char(','), 0, 0).trimmed().toInt() != 0)
        throw ServerError(QStringLiteral("the instrument reported: %1").arg(entry));
}

bool ScopeTavrel::IsTavrelIdentity(const QString& idnReply) {
    const QStringList fields = idnReply.split(QLatin1Char(','));
    if (fields.size() < 2)
        return false;
    const QString model = fields[1].trimmed();
    return model.size() > kSeriesPrefix.size() && model.startsWith(kSeriesPrefix, Qt::CaseInsensitive) &&
           model.at(kSeriesPrefix.size()).isDigit();
}

} // namespace BrumelTB

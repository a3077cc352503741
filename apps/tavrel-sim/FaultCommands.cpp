#include "FaultCommands.h"

#include "sim/BenchFile.h"
#include "sim/SimBench.h"

#include <QSocketNotifier>
#include <cstdio>
#include <stdexcept>
#include <unistd.h>

using namespace tavrelsim;

namespace {

// A command line is short; more without a line end is not one of ours.
constexpr qsizetype kMaxLine = 64 * 1024;

QString resourceOf(const SimPlacement& p) {
    return p.bus == SimPlacement::Com ? QStringLiteral("COM%1").arg(p.comPort)
                                      : QStringLiteral("GPIB%1::%2::INSTR").arg(p.board).arg(p.address);
}

} // namespace

FaultCommands::FaultCommands(std::shared_ptr<SimBench> bench, QObject* parent)
    : QObject(parent), m_bench(std::move(bench)),
      m_notifier(new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this)) {
    connect(m_notifier, &QSocketNotifier::activated, this, &FaultCommands::readLines);
}

QString FaultCommands::execute(const QString& line) {
    const QString command = line.section(u' ', 0, 0, QString::SectionSkipEmpty);
    if (command.isEmpty()) return {};
    if (command != QLatin1String("fault"))
        return QStringLiteral("error: unknown command \"%1\"").arg(command);
    const QString resource = line.section(u' ', 1, 1, QString::SectionSkipEmpty);
    const QString json = line.section(u' ', 2, -1, QString::SectionSkipEmpty);
    for (const SimPlacement& p : m_bench->placements()) {
        if (resourceOf(p).compare(resource, Qt::CaseInsensitive) != 0) continue;
        try {
            m_bench->setFaults(p, BenchFile::parseFaults(json.toUtf8(), resource));
        } catch (const std::runtime_error& e) {
            return QStringLiteral("error: %1").arg(QString::fromLocal8Bit(e.what()));
        }
        return QStringLiteral("ok");
    }
    return QStringLiteral("error: no instrument at \"%1\"").arg(resource);
}

void FaultCommands::readLines() {
    char buffer[4096];
    const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (got <= 0) {
        m_notifier->setEnabled(false); // standard input is closed: no more commands
        return;
    }
    m_pending.append(buffer, got);
    qsizetype end;
    while ((end = m_pending.indexOf('\n')) >= 0) {
        const QString answer = execute(QString::fromUtf8(m_pending.left(end)).trimmed());
        m_pending.remove(0, end + 1);
        if (!answer.isEmpty()) {
            std::printf("%s\n", qPrintable(answer));
            std::fflush(stdout);
        }
    }
    if (m_pending.size() > kMaxLine) {
        m_pending.clear();
        std::printf("error: a command line longer than %lld bytes\n", static_cast<long long>(kMaxLine));
        std::fflush(stdout);
    }
}

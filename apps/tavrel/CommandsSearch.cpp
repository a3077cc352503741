// tavrel search: every configured port, as the Search Instruments page searches it.
#include "Cli.h"
#include "CliControl.h"

#include "base/Localization.h"
#include "control/TavrelScope.h"
#include "discovery/InstrumentSearch.h"

#include <QJsonArray>
#include <cstdio>
#include <mutex>
#include <unistd.h>

namespace {

// A one-line progress bar on a terminal's stderr, redrawn as each port and address is probed.
class ProgressBar {
public:
    void update(const SearchProgress& step) {
        std::lock_guard lock(m_mutex);
        const int total = std::max(step.total, 1);
        const int width = 30;
        const int filled = std::min(width, step.done * width / total);
        std::fprintf(stderr, "\r[%s%s] %d/%d %-24s", QByteArray(filled, '#').constData(),
                     QByteArray(width - filled, '.').constData(), step.done, step.total,
                     step.target.left(24).toUtf8().constData());
        std::fflush(stderr);
    }
    void finish() {
        std::fprintf(stderr, "\r%80s\r", "");
        std::fflush(stderr);
    }

private:
    std::mutex m_mutex;
};

QString padded(const QString& text, qsizetype width) {
    return text.leftJustified(width);
}

} // namespace

void PrintSearchTable(const CliContext& context, const SearchResult& result) {
    const QStringList headings = {Localized(201), Localized(202), Localized(203), Localized(204)};
    QList<qsizetype> widths;
    for (const QString& h : headings)
        widths.append(h.size());
    for (const SearchRow& row : result.rows) {
        widths[0] = std::max(widths[0], row.model.size());
        widths[1] = std::max(widths[1], row.supported.size());
        widths[2] = std::max(widths[2], row.address.size());
    }
    const auto line = [&](const QString& mark, const QStringList& cells) {
        return mark + padded(cells[0], widths[0]) + QStringLiteral("  ") + padded(cells[1], widths[1]) +
               QStringLiteral("  ") + padded(cells[2], widths[2]) + QStringLiteral("  ") + cells[3];
    };
    context.print(line(QStringLiteral("  "), headings).trimmed().prepend(QStringLiteral("  ")));
    for (qsizetype i = 0; i < result.rows.size(); ++i) {
        const SearchRow& row = result.rows[i];
        // The connected instrument's row is marked, as the page marks it with its icon.
        const QString mark = i + 1 == result.selectedIndex ? QStringLiteral("* ") : QStringLiteral("  ");
        context.print(line(mark, {row.model, row.supported, row.address, row.manufacturer}));
    }
    if (result.rows.isEmpty()) context.print(QStringLiteral("  (no instruments found)"));
    context.print(QString());
    context.print(Localized(205) + QStringLiteral("  * = connected instrument"));
    for (const PortNotFound& notFound : result.portsNotFound)
        context.print(
            QStringLiteral("\n%1: %2")
                .arg(notFound.title,
                     QString(notFound.message).replace(QStringLiteral("\r\n"), QStringLiteral("\n"))));
    if (!result.silentCOMPorts.isEmpty()) {
        QStringList ports;
        for (int port : result.silentCOMPorts)
            ports.append(QStringLiteral("COM%1").arg(port));
        context.print(QStringLiteral("\nCOM ports on which nothing answered: %1")
                          .arg(ports.join(QStringLiteral(", "))));
    }
}

namespace {

QJsonObject toJson(const SearchResult& result) {
    QJsonArray rows;
    for (const SearchRow& row : result.rows)
        rows.append(QJsonObject{{QStringLiteral("model"), row.model},
                                {QStringLiteral("supported"), !row.supported.isEmpty()},
                                {QStringLiteral("address"), row.address},
                                {QStringLiteral("manufacturer"), row.manufacturer}});
    QJsonArray silent;
    for (int port : result.silentCOMPorts)
        silent.append(QStringLiteral("COM%1").arg(port));
    QJsonArray notFound;
    for (const PortNotFound& port : result.portsNotFound)
        notFound.append(port.port);
    return {{QStringLiteral("rows"), rows},
            {QStringLiteral("selected"), result.selectedIndex},
            {QStringLiteral("silent_com_ports"), silent},
            {QStringLiteral("ports_not_found"), notFound}};
}

int runSearch(CliContext& context) {
    QStringList args = context.args;
    const bool sequential = TakeFlag(args, QStringLiteral("--sequential"));
    ExpectPositional(args, 0, QStringLiteral("search [--sequential]"));
    auto control = OpenControl(context);
    InstrumentSearch search(control->IOConfigurationControl(), RequireIOManager(*control), control->Address(),
                            control->TXDelay());
    // The page refreshes the ports through the I/O manager when it opens, before any search.
    search.setRefreshPortsFirst(true);
    search.setConcurrent(!sequential);
    ProgressBar bar;
    const bool showProgress = ::isatty(STDERR_FILENO);
    if (showProgress)
        QObject::connect(
            &search, &InstrumentSearch::progress, &search,
            [&bar](const SearchProgress& step) { bar.update(step); }, Qt::DirectConnection);
    const SearchResult result = search.run();
    if (showProgress) bar.finish();
    if (context.json)
        context.printJson(toJson(result));
    else
        PrintSearchTable(context, result);
    return 0;
}

} // namespace

QList<Command> SearchCommands() {
    return {{QStringLiteral("search"), QStringLiteral("[--sequential]"),
             QStringLiteral("searches every configured port for instruments"), runSearch}};
}

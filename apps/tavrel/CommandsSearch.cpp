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
                     TerminalText(step.target).left(24).toUtf8().constData());
        std::fflush(stderr);
    }
    void finish() {
        std::fprintf(stderr, "\r%80s\r", "");
        std::fflush(stderr);
    }

private:
    std::mutex m_mutex;
};

// Every COM port whose found flag the search left clear: silent ones, and ones that were not found
// when the search looked them up.
QStringList comPortsWithoutInstruments(const SearchResult& result) {
    QStringList ports;
    for (int port = CIOconfiguration::kFirstRS232Port; port <= CIOconfiguration::kLastRS232Port; ++port)
        if (!result.instrumentFound(port)) ports.append(QStringLiteral("COM%1").arg(port));
    return ports;
}

QString padded(const QString& text, qsizetype width) {
    return text.leftJustified(width);
}

} // namespace

void PrintSearchTable(const CliContext& context, const SearchResult& result) {
    const QStringList headings = {Localized(201), Localized(202), Localized(203), Localized(204)};
    QList<qsizetype> widths;
    for (const QString& h : headings)
        widths.append(h.size());
    // What the instruments answered is shown escaped, and the columns fit what is shown.
    QList<QStringList> cells;
    for (const SearchRow& row : result.rows) {
        cells.append({TerminalText(row.model), TerminalText(row.supported), TerminalText(row.address),
                      TerminalText(row.manufacturer)});
        for (int column = 0; column < 3; ++column)
            widths[column] = std::max(widths[column], cells.last()[column].size());
    }
    const auto line = [&](const QString& mark, const QStringList& texts) {
        return mark + padded(texts[0], widths[0]) + QStringLiteral("  ") + padded(texts[1], widths[1]) +
               QStringLiteral("  ") + padded(texts[2], widths[2]) + QStringLiteral("  ") + texts[3];
    };
    context.print(line(QStringLiteral("  "), headings).trimmed().prepend(QStringLiteral("  ")));
    for (qsizetype i = 0; i < result.rows.size(); ++i) {
        // The connected instrument's row is marked, as the page marks it with its icon.
        const QString mark = i + 1 == result.selectedIndex ? QStringLiteral("* ") : QStringLiteral("  ");
        context.print(line(mark, cells[i]));
    }
    if (result.rows.isEmpty()) context.print(QStringLiteral("  (no instruments found)"));
    context.print(QString());
    context.print(Localized(205) + QStringLiteral("  * = connected instrument"));
    for (const PortNotFound& notFound : result.portsNotFound)
        context.print(
            QStringLiteral("\n%1: %2")
                .arg(notFound.title,
                     QString(notFound.message).replace(QStringLiteral("\r\n"), QStringLiteral("\n"))));
    // The ports that the results dialog names, in its words.
    const QStringList emptyPorts = comPortsWithoutInstruments(result);
    if (!emptyPorts.isEmpty())
        context.print(QStringLiteral("\n%1 %2").arg(Localized(261), emptyPorts.join(QStringLiteral(", "))));
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
            {QStringLiteral("com_ports_without_instruments"),
             QJsonArray::fromStringList(comPortsWithoutInstruments(result))},
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

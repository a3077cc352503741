// The property pages as people see them: shown on a document's control, or rendered to PNG files.
#include "Cli.h"
#include "CliControl.h"

#include "base/Languages.h"
#include "control/TavrelScope.h"
#include "pages/PageRegistry.h"
#include "pages/PropertyFrame.h"
#include "pages/SearchInstrumentsPage.h"

#include <QApplication>
#include <QDir>
#include <QEventLoop>
#include <QTabWidget>

namespace {

// Every page of the frame, one PNG each, in every language: DIR/<language code>/<page>.png.
int renderPages(CliContext& context, TavrelScope& control, const QString& folder) {
    static const struct {
        const char* code;
        int country;
    } kLanguages[] = {{"en", 1},  {"fr", 33}, {"es", 34}, {"it", 39},
                      {"de", 49}, {"ja", 81}, {"ko", 82}, {"zh-TW", 886}};
    int written = 0;
    for (const auto& language : kLanguages) {
        try {
            control.SetCountryCode(language.country);
        } catch (const TavrelError&) {
            context.printError(QStringLiteral("tavrel: %1 is not available here (a locale with double-byte "
                                              "characters is needed); skipped")
                                   .arg(QLatin1String(language.code)));
            continue;
        }
        const QDir dir(QDir(folder).filePath(QLatin1String(language.code)));
        if (!QDir().mkpath(dir.path())) throw CliFailure(QStringLiteral("cannot make %1").arg(dir.path()));
        control.ShowPropertyPages(); // restarts the working copy, as opening the pages does
        PropertyFrame frame(&control, control.PropertyPageList().filter(QStringLiteral("Tavrel")), -1);
        // The search page is shown after a search, as a user sees it most.
        for (PropertyPage* page : frame.pages())
            if (auto* search = qobject_cast<SearchInstrumentsPage*>(page)) {
                search->setShowResultsDialog(false);
                QEventLoop loop;
                search->search([&](const SearchResult&) { loop.quit(); });
                if (search->searching()) loop.exec();
            }
        frame.adjustSize();
        for (int i = 0; i < frame.tabs()->count(); ++i) {
            frame.tabs()->setCurrentIndex(i);
            frame.adjustSize();
            const QString name = control.PropertyPageList().value(i);
            const QString file = dir.filePath(name + QStringLiteral(".png"));
            if (!frame.grab().save(file)) throw CliFailure(QStringLiteral("cannot write %1").arg(file));
            ++written;
        }
        for (const QString& name : DialogGallery::names()) {
            std::unique_ptr<QWidget> dialog(DialogGallery::create(name, control));
            if (!dialog) continue;
            dialog->adjustSize();
            const QString file = dir.filePath(name + QStringLiteral(".png"));
            if (!dialog->grab().save(file)) throw CliFailure(QStringLiteral("cannot write %1").arg(file));
            ++written;
        }
    }
    control.SetCountryCode(1);
    context.print(QStringLiteral("%1 pictures of the pages in %2").arg(written).arg(folder));
    return 0;
}

int runPages(CliContext& context) {
    QStringList args = context.args;
    const QString screenshots = TakeOption(args, QStringLiteral("--screenshot"));
    const QString page = TakeOption(args, QStringLiteral("--page"));
    ExpectPositional(args, 0, QStringLiteral("pages [--page N] [--screenshot DIR]"));
    auto control = OpenControl(context);
    if (!screenshots.isEmpty()) return renderPages(context, *control, screenshots);
    bool ok = true;
    const int pages = page.isEmpty() ? 0 : page.toInt(&ok);
    if (!ok || pages < 0 || pages > 3)
        throw UsageError(QStringLiteral("--page is 0 (all), 1 (setups), 2 (search) or 3 (Set I/O)"));
    InstallPropertyPages([&](QObject*) { SaveControl(context, *control); });
    control->ShowPropertyPages(pages);
    return 0;
}

} // namespace

QList<Command> PagesCommands() {
    Command pages{
        QStringLiteral("pages"), QStringLiteral("[--page N] [--screenshot DIR]"),
        QStringLiteral("shows the property pages of the --doc control (OK and Apply save the document), "
                       "or renders every page in every language to DIR"),
        runPages};
    pages.needsWidgets = true;
    return {pages};
}

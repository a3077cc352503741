#include "pages/HelpViewer.h"

#include "base/Localization.h"
#include "pages/PageRegistry.h"
#include "pages/PageTexts.h"

#include <QDir>
#include <QFile>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QRegularExpression>
#include <QTextBrowser>
#include <QTextCursor>
#include <QVBoxLayout>

namespace {

const bool kRegistered = DialogGallery::add(QStringLiteral("HelpViewer"), [](TavrelScope&, QWidget* parent) {
    auto* viewer = new HelpViewer(parent);
    viewer->load();
    return viewer;
});

// Help files are small; a bound keeps a damaged one from taking memory.
constexpr qint64 kMaxHelpBytes = 4 * 1024 * 1024;

QString readText(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    return QString::fromUtf8(file.read(kMaxHelpBytes));
}

} // namespace

HelpViewer::HelpViewer(QWidget* parent) : QDialog(parent) {
    (void)kRegistered;
    setWindowTitle(PageText(720));
    m_contents = new QListWidget(this);
    m_text = new QTextBrowser(this);
    // The help text is laid out in lines of up to 80 characters.
    m_text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_text->setLineWrapMode(QTextEdit::NoWrap);
    m_text->setMinimumSize(QFontMetrics(m_text->font()).horizontalAdvance(QString(82, QLatin1Char('M'))),
                           400);
    auto* left = new QVBoxLayout;
    left->addWidget(new QLabel(PageText(721), this));
    left->addWidget(m_contents);
    auto* layout = new QHBoxLayout(this);
    layout->addLayout(left, 1);
    layout->addWidget(m_text, 3);

    connect(m_contents, &QListWidget::currentRowChanged, this, [this](int) {
        const QListWidgetItem* item = m_contents->currentItem();
        if (!item) return;
        // A section begins with its number and title ("2. Connecting to an instrument").
        const QString heading =
            QStringLiteral("%1. %2").arg(item->data(Qt::UserRole).toInt()).arg(item->text());
        QTextCursor found = m_text->document()->find(heading);
        if (found.isNull()) return;
        m_text->setTextCursor(found);
        m_text->ensureCursorVisible();
    });
}

bool HelpViewer::load() {
    const QDir folder(ComponentFolder());
    const QString help = readText(folder.filePath(LoadResString(10)));
    const QString contents = readText(folder.filePath(LoadResString(11)));
    m_contents->clear();
    if (help.isEmpty()) {
        m_text->setPlainText(PageText(722));
        return false;
    }
    m_text->setPlainText(help);
    static const QRegularExpression entry(QStringLiteral("^2 (.+)=(\\d+)$"));
    for (const QString& line : contents.split(QLatin1Char('\n'))) {
        const QRegularExpressionMatch match = entry.match(line.trimmed());
        if (!match.hasMatch()) continue;
        auto* item = new QListWidgetItem(match.captured(1), m_contents);
        item->setData(Qt::UserRole, match.captured(2).toInt());
    }
    m_contents->setMinimumWidth(m_contents->sizeHintForColumn(0) + 2 * m_contents->frameWidth() + 8);
    return true;
}

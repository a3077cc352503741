#include "pages/FrmSearchResults.h"

#include "base/TavrelError.h"
#include "pages/PageRegistry.h"
#include "pages/PageTexts.h"

#include <QCheckBox>
#include <QFrame>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

const bool kRegistered =
    DialogGallery::add(QStringLiteral("FrmSearchResults"), [](TavrelScope&, QWidget* parent) {
        auto* dialog = new FrmSearchResults(parent);
        dialog->SetInstrumentFoundOnCOMPort(1, true); // COM1 answered; COM2..COM4 did not
        dialog->Load();
        return dialog;
    });

} // namespace

FrmSearchResults::FrmSearchResults(QWidget* parent) : QDialog(parent) {
    (void)kRegistered;
    m_included.fill(true);
    m_message = new QLabel(this);
    m_message->setObjectName(QStringLiteral("LabelMessage"));
    m_message->setWordWrap(true);
    auto* frame = new QFrame(this);
    frame->setObjectName(QStringLiteral("FrameMessage"));
    frame->setFrameShape(QFrame::StyledPanel);
    (new QVBoxLayout(frame))->addWidget(m_message);
    m_complete = new QLabel(this);
    m_complete->setObjectName(QStringLiteral("LabelSearchComplete"));
    m_exclude = new QGroupBox(this);
    m_exclude->setObjectName(QStringLiteral("FrameExclude"));
    auto* boxes = new QHBoxLayout(m_exclude);
    for (int i = 0; i < 4; ++i) {
        m_check[size_t(i)] = new QCheckBox(QStringLiteral("COM%1").arg(i + 1), m_exclude);
        m_check[size_t(i)]->setObjectName(QStringLiteral("CheckCOM1_%1").arg(i));
        boxes->addWidget(m_check[size_t(i)]);
    }
    m_continue = new QPushButton(this);
    m_continue->setObjectName(QStringLiteral("CommandContinue"));
    m_continue->setDefault(true);
    connect(m_continue, &QPushButton::clicked, this, &FrmSearchResults::Continue);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_complete);
    layout->addWidget(frame);
    layout->addWidget(m_exclude);
    layout->addWidget(m_continue, 0, Qt::AlignRight);
    m_message->setMinimumWidth(360);
}

int FrmSearchResults::slot(int index) {
    if (index < 1 || index > 4) throw SubscriptOutOfRangeError();
    return index - 1;
}

bool FrmSearchResults::InstrumentFoundOnCOMPort(int index) const {
    return m_found[size_t(slot(index))];
}
void FrmSearchResults::SetInstrumentFoundOnCOMPort(int index, bool found) {
    m_found[size_t(slot(index))] = found;
}
bool FrmSearchResults::IncludedCOMPort(int index) const {
    return m_included[size_t(slot(index))];
}
void FrmSearchResults::SetIncludedCOMPort(int index, bool included) {
    m_included[size_t(slot(index))] = included;
}

void FrmSearchResults::SetFont(const QString& name, int size) {
    m_fontName = name;
    m_fontSize = size;
}

void FrmSearchResults::Load() {
    if (!m_fontName.isEmpty() && m_fontSize != 0) {
        QFont font(m_fontName, m_fontSize);
        for (QWidget* widget : findChildren<QWidget*>())
            widget->setFont(font);
    }
    setWindowTitle(PageText(260));
    m_continue->setText(PageText(111));
    m_complete->setText(PageText(273));
    QString message = PageText(261) + QLatin1Char('\n');
    for (int port = 1; port <= 4; ++port)
        if (!m_found[size_t(port - 1)]) message += QStringLiteral("\n    COM%1").arg(port);
    message += QStringLiteral("\n\n") + PageText(262) + QStringLiteral("\n\n") + PageText(263);
    m_message->setText(message);
    m_exclude->setTitle(PageText(264));
    for (int port = 1; port <= 4; ++port) {
        QCheckBox* box = m_check[size_t(port - 1)];
        box->setVisible(!m_found[size_t(port - 1)]);
        box->setChecked(!m_included[size_t(port - 1)]);
    }
    adjustSize();
}

void FrmSearchResults::Continue() {
    // A hidden box counts as a shown one: the port keeps the state its box was given.
    for (int port = 1; port <= 4; ++port)
        m_included[size_t(port - 1)] = !m_check[size_t(port - 1)]->isChecked();
    accept();
}

void FrmSearchResults::showEvent(QShowEvent* event) {
    Load();
    QDialog::showEvent(event);
}

#include "pages/FrmMessageOption.h"

#include "base/Diagnostics.h"
#include "pages/PageRegistry.h"
#include "pages/PageTexts.h"

#include <QApplication>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

const bool kRegistered =
    DialogGallery::add(QStringLiteral("FrmMessageOption"), [](TavrelScope&, QWidget* parent) {
        auto* dialog = new FrmMessageOption(parent);
        dialog->SetTitle(PageText(711).section(QLatin1String(" --"), 0, 0));
        dialog->SetMessage(PageText(711) + QStringLiteral("\n\n") + PageText(712) + QStringLiteral("\n\n") +
                           PageText(713));
        dialog->SetOption(PageText(124));
        dialog->SetOKOnly(false);
        dialog->Load();
        return dialog;
    });

} // namespace

FrmMessageOption::FrmMessageOption(QWidget* parent) : QDialog(parent) {
    (void)kRegistered;
    // Topmost: it stays above other windows without being moved or resized.
    setWindowFlag(Qt::WindowStaysOnTopHint, true);
    m_labelMessage = new QLabel(this);
    m_labelMessage->setObjectName(QStringLiteral("LabelMessage"));
    m_labelMessage->setWordWrap(true);
    m_labelMessage->setMinimumWidth(360);
    m_checkOption = new QCheckBox(this);
    m_checkOption->setObjectName(QStringLiteral("CheckOption"));
    m_ok = new QPushButton(this);
    m_ok->setObjectName(QStringLiteral("CommandOK"));
    m_continueButton = new QPushButton(this);
    m_continueButton->setObjectName(QStringLiteral("CommandContinue"));
    m_cancel = new QPushButton(this);
    m_cancel->setObjectName(QStringLiteral("CommandCancel"));
    // From the top down: the message, the option right below it, the buttons right below that.
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_ok);
    buttons->addWidget(m_continueButton);
    buttons->addWidget(m_cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_labelMessage);
    layout->addWidget(m_checkOption);
    layout->addLayout(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    connect(m_ok, &QPushButton::clicked, this, [this] { close(false, false); });
    connect(m_continueButton, &QPushButton::clicked, this, [this] { close(true, false); });
    connect(m_cancel, &QPushButton::clicked, this, [this] { close(false, true); });
}

void FrmMessageOption::SetFont(const QString& name, int size) {
    m_fontName = name;
    m_fontSize = size;
}

void FrmMessageOption::Load() {
    if (!m_fontName.isEmpty() && m_fontSize != 0) {
        QFont font(m_fontName, m_fontSize);
        for (QWidget* widget : findChildren<QWidget*>())
            widget->setFont(font);
    }
    setWindowTitle(m_title);
    m_labelMessage->setText(m_message);
    ReportAssertion(!m_option.isEmpty(), QStringLiteral("(Len(m_strOption) > 0)"),
                    QStringLiteral("FrmMessageOption"), QStringLiteral("Discover"));
    m_checkOption->setText(m_option);
    m_checkOption->setChecked(m_optionChecked);
    m_ok->setText(PageText(111));
    m_continueButton->setText(PageText(116));
    m_cancel->setText(PageText(112));
    m_ok->setVisible(m_okOnly);
    m_continueButton->setVisible(!m_okOnly);
    m_cancel->setVisible(!m_okOnly);
    (m_okOnly ? m_ok : m_cancel)->setDefault(true);
    adjustSize();
    QApplication::beep();
}

void FrmMessageOption::close(bool pressedContinue, bool pressedCancel) {
    m_optionChecked = m_checkOption->isChecked();
    if (pressedContinue) m_continue = true;
    if (pressedCancel) m_continue = false;
    pressedCancel ? reject() : accept();
}

void FrmMessageOption::showEvent(QShowEvent* event) {
    Load();
    QDialog::showEvent(event);
}

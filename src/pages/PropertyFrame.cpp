#include "pages/PropertyFrame.h"

#include "control/IPPTavrelScope.h"
#include "control/PropertyPagesSeam.h"
#include "pages/Centering.h"
#include "pages/HelpViewer.h"
#include "pages/MessageBoxes.h"
#include "pages/PageFonts.h"
#include "pages/PageRegistry.h"
#include "pages/PageTexts.h"
#include "pages/PropertyPage.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QTabWidget>
#include <QThread>
#include <QVBoxLayout>

namespace {

// The tab of a page this build does not have.
QWidget* missingPage(const QString& name) {
    auto* label = new QLabel(QStringLiteral("%1\n(not available in this build)").arg(name));
    label->setAlignment(Qt::AlignCenter);
    return label;
}

} // namespace

PropertyFrame::PropertyFrame(QObject* control, const QStringList& pages, int preselected, QWidget* parent)
    : QDialog(parent), m_control(control), m_tabs(new QTabWidget(this)) {
    setWindowTitle(PageText(700));
    setFont(PageFont(control->property("FontName").toString(), control->property("FontSize").toInt()));
    m_tabs->setUsesScrollButtons(false); // every page's tab in sight: the frame grows to hold them
    m_buttons = new QDialogButtonBox(this);
    QPushButton* ok = m_buttons->addButton(PageText(111), QDialogButtonBox::AcceptRole);
    m_buttons->addButton(PageText(112), QDialogButtonBox::RejectRole);
    m_apply = m_buttons->addButton(PageText(117), QDialogButtonBox::ApplyRole);
    m_buttons->addButton(PageText(118), QDialogButtonBox::HelpRole);
    ok->setDefault(true);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_tabs);
    layout->addWidget(m_buttons);

    for (const QString& name : pages) {
        PropertyPage* page = PageRegistry::create(name, m_tabs);
        if (!page) {
            m_tabs->addTab(missingPage(name), name);
            continue;
        }
        page->setSelectedControls({control});
        connect(page, &PropertyPage::changedStateChanged, this, &PropertyFrame::updateApplyButton);
        m_pages.append(page);
        m_tabs->addTab(page, page->caption());
    }
    if (preselected >= 0 && preselected < m_tabs->count()) m_tabs->setCurrentIndex(preselected);
    updateApplyButton();

    connect(m_buttons, &QDialogButtonBox::clicked, this, [this](QAbstractButton* button) {
        switch (m_buttons->buttonRole(button)) {
        case QDialogButtonBox::AcceptRole:
            if (apply()) accept();
            break;
        case QDialogButtonBox::RejectRole:
            reject();
            break;
        case QDialogButtonBox::ApplyRole:
            apply();
            break;
        case QDialogButtonBox::HelpRole: {
            HelpViewer viewer(this);
            viewer.load();
            viewer.exec();
            break;
        }
        default:
            break;
        }
    });
}

bool PropertyFrame::apply() {
    bool any = false;
    for (PropertyPage* page : std::as_const(m_pages)) {
        if (!page->isChanged()) continue;
        if (!page->applyChanges()) {
            m_tabs->setCurrentWidget(page);
            updateApplyButton();
            return false;
        }
        any = true;
    }
    updateApplyButton();
    if (any) emit applied();
    return true;
}

void PropertyFrame::updateApplyButton() {
    bool changed = false;
    for (PropertyPage* page : std::as_const(m_pages))
        changed = changed || page->isChanged();
    m_apply->setEnabled(changed);
}

void PropertyFrame::center() {
    auto* ipp = qobject_cast<IPPTavrelScope*>(m_control);
    if (!ipp || !ipp->CenterPropertyPages() || m_tabs->count() == 0) return;
    const QPoint middle(ipp->ScreenCenterWidthInPixels(), ipp->ScreenCenterHeightInPixels());
    if (middle.isNull()) return; // no display to center on
    CenterPropertyPage(m_tabs->currentWidget(), middle.x(), middle.y());
}

void InstallPropertyPages(std::function<void(QObject* control)> onApplied) {
    InstallMessageBoxes();
    SetPropertyPagesHandler([onApplied](QObject* control, const QStringList& pages, int preselected) {
        // Widgets live on the GUI thread: a call from elsewhere waits for the frame there.
        const auto show = [=] {
            PropertyFrame frame(control, pages, preselected, QApplication::activeWindow());
            if (onApplied) QObject::connect(&frame, &PropertyFrame::applied, [=] { onApplied(control); });
            frame.adjustSize();
            QMetaObject::invokeMethod(
                &frame, [&frame] { frame.center(); }, Qt::QueuedConnection);
            frame.exec();
        };
        if (QThread::currentThread() == qApp->thread())
            show();
        else
            QMetaObject::invokeMethod(qApp, show, Qt::BlockingQueuedConnection);
    });
}

// The control's side of the property pages: the page host interface.
#include "control/TavrelScope.h"

#include "base/Diagnostics.h"
#include "iolib/IOManager.h"

#include <QGuiApplication>
#include <QScreen>

namespace {

const char* const kClass = "TavrelScope";

// Half the primary display's size; 0 without a display (headless hosts).
QSize screenCenter() {
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance())) return {};
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen) return {};
    return screen->geometry().size() / 2;
}

} // namespace

void TavrelScope::IOConfigurationChanged() {
    Reported(kClass, "IOConfigurationChanged", [&] {
        // The session opens the new address at its next connection.
        m_session->SetAutomationServerAddress(m_ioconfiguration->ActiveAutomationServerAddress());
        handLanListToManager();
        emit IOConfigurationTakenOver();
    });
}

CIOconfiguration& TavrelScope::IOConfigurationPropertyPage() {
    if (!m_ioconfigurationPropertyPage) startPageWorkingCopy();
    return *m_ioconfigurationPropertyPage;
}

void TavrelScope::startPageWorkingCopy() {
    // A fresh set of pages starts from what the control holds now, not from an older frame's edits.
    if (!m_ioconfigurationPropertyPage) m_ioconfigurationPropertyPage = std::make_unique<CIOconfiguration>();
    m_ioconfigurationPropertyPage->Copy(*m_ioconfiguration);
    m_lNotifyIOConfigurationChanged = 0;
    // The pages show this computer's ports, not those of the computer the document was saved on; the
    // control's own configuration (and so the document) changes only when a page is applied.
    if (m_ioManager) {
        try {
            m_ioconfigurationPropertyPage->RefreshPorts(*m_ioManager);
        } catch (const TavrelError& error) {
            ReportFailure(error, QString::fromLatin1(kClass), QStringLiteral("ShowPropertyPages"));
        }
    }
}

qint32 TavrelScope::ScreenCenterWidthInPixels() const {
    return screenCenter().width();
}

qint32 TavrelScope::ScreenCenterHeightInPixels() const {
    return screenCenter().height();
}

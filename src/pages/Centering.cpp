#include "pages/Centering.h"

#include "base/Diagnostics.h"

#include <QApplication>
#include <QMessageBox>
#include <QScreen>

namespace {

const QString kClass = QStringLiteral("BrumelCtrlLib::MsgBoxAutoCenter");

QMessageBox::StandardButtons buttonsOf(int style) {
    switch (style & 7) {
    case 1:
        return QMessageBox::Ok | QMessageBox::Cancel;
    case 3:
        return QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
    case 4:
        return QMessageBox::Yes | QMessageBox::No;
    default:
        return QMessageBox::Ok;
    }
}

QMessageBox::Icon iconOf(int style) {
    switch (style & 0x70) {
    case 16:
        return QMessageBox::Critical;
    case 32:
        return QMessageBox::Question;
    case 48:
        return QMessageBox::Warning;
    case 64:
        return QMessageBox::Information;
    default:
        return QMessageBox::NoIcon;
    }
}

int resultOf(int button) {
    switch (button) {
    case QMessageBox::Cancel:
        return 2;
    case QMessageBox::Yes:
        return 6;
    case QMessageBox::No:
        return 7;
    default:
        return 1; // OK
    }
}

} // namespace

int MsgBoxCentered(const QString& prompt, int buttons, const QString& title, const QString& helpFile,
                   int helpContext, QWidget* parent) {
    if (!parent) parent = QApplication::activeWindow();
    ReportAssertion(parent != nullptr, QStringLiteral("m_hwndParent <> 0"), kClass,
                    QStringLiteral("MsgBoxCentered"));
    QMessageBox box(iconOf(buttons), title, prompt, buttonsOf(buttons), parent);
    if (buttons & 65536) box.setWindowFlag(Qt::WindowStaysOnTopHint, true); // set-foreground
    (void)helpFile;
    (void)helpContext; // the help button of the original boxes; our help viewer is the frame's
    box.adjustSize();
    // The center of the display the parent is on (or the primary one).
    const QScreen* screen = parent ? parent->screen() : QGuiApplication::primaryScreen();
    if (screen) {
        QRect frame = box.frameGeometry();
        frame.moveCenter(screen->geometry().center());
        box.move(frame.topLeft());
    }
    return resultOf(box.exec());
}

void CenterPropertyPage(QWidget* propertyPage, int centerX, int centerY) {
    const QString procedure = QStringLiteral("CenterPropertyPage");
    ReportAssertion(propertyPage != nullptr, QStringLiteral("hwndPropertyPage > 0"), kClass, procedure);
    if (!propertyPage) return;
    QWidget* parent = propertyPage->parentWidget();
    ReportAssertion(parent != nullptr, QStringLiteral("hwndParent > 0"), kClass, procedure);
    QWidget* frame = propertyPage->window();
    ReportAssertion(frame != nullptr && frame != propertyPage, QStringLiteral("hwndPPFrame > 0"), kClass,
                    procedure);
    if (!parent || !frame || frame == propertyPage) return;
    QRect geometry = frame->frameGeometry();
    geometry.moveCenter(QPoint(centerX, centerY));
    frame->move(geometry.topLeft());
}

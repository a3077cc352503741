#include "pages/MessageBoxes.h"

#include "base/MessageBoxSeam.h"

#include <QApplication>
#include <QMessageBox>
#include <QScreen>
#include <QThread>

namespace {

// The message box styles and results hosts know: buttons in the low bits, the icon above them.
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
        return kMessageBoxResultOK;
    }
}

int show(const MessageBoxRequest& request) {
    QMessageBox box(iconOf(request.style), request.title, request.text, buttonsOf(request.style),
                    QApplication::activeWindow());
    if (request.style & kMessageBoxSetForeground) box.setWindowFlag(Qt::WindowStaysOnTopHint, true);
    box.adjustSize();
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        QRect frame = box.frameGeometry();
        frame.moveCenter(screen->geometry().center());
        box.move(frame.topLeft());
    }
    return resultOf(box.exec());
}

} // namespace

void InstallMessageBoxes() {
    SetMessageBoxHandler([](const MessageBoxRequest& request) {
        if (QThread::currentThread() == qApp->thread()) return show(request);
        int result = kMessageBoxResultOK;
        QMetaObject::invokeMethod(
            qApp, [&] { result = show(request); }, Qt::BlockingQueuedConnection);
        return result;
    });
}

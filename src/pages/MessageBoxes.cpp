#include "pages/MessageBoxes.h"

#include "base/MessageBoxSeam.h"
#include "pages/Centering.h"

#include <QApplication>
#include <QThread>
#include <QWidget>

void InstallMessageBoxes() {
    SetMessageBoxHandler([](const MessageBoxRequest& request) {
        const auto show = [&] {
            QWidget* owner = request.owner ? QWidget::find(WId(request.owner)) : nullptr;
            return MsgBoxCentered(request.text, request.style, request.title, request.helpFile,
                                  request.helpContext, owner ? owner->window() : nullptr);
        };
        if (QThread::currentThread() == qApp->thread()) return show();
        int result = kMessageBoxResultOK;
        QMetaObject::invokeMethod(
            qApp, [&] { result = show(); }, Qt::BlockingQueuedConnection);
        return result;
    });
}

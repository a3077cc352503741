#pragma once

#include <QString>
#include <functional>
#include <memory>

class CIOconfiguration;
class QObject;
class QThread;
namespace CorvaneIOUtilsLib {
class IOManager;
}

// The instrument test of a page's Test button, on a worker thread so that the window stays alive:
// identifies the address with the configuration's serial parameters, and shows the outcome in a
// message box that belongs to the owner window (through the message-box seam, on the GUI thread).
// finished runs on the receiver's thread afterwards; the thread deletes itself. Returns the thread.
QThread* StartInstrumentTest(QObject* receiver, const CIOconfiguration& configuration,
                             std::shared_ptr<CorvaneIOUtilsLib::IOManager> manager, qint32 delayMs,
                             const QString& address, quintptr owner, std::function<void()> finished);

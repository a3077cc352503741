#include "pages/InstrumentTestRun.h"

#include "discovery/CQueryInstrument.h"
#include "ioconfig/CIOconfiguration.h"

#include <QThread>

QThread* StartInstrumentTest(QObject* receiver, const CIOconfiguration& configuration,
                             std::shared_ptr<CorvaneIOUtilsLib::IOManager> manager, qint32 delayMs,
                             const QString& address, quintptr owner, std::function<void()> finished) {
    auto query = std::make_shared<CQueryInstrument>();
    query->IOConfigurationChanged(delayMs, configuration, std::move(manager));
    QThread* thread = QThread::create([query, address, owner] {
        QString reply;
        try {
            query->Test(owner, address, reply);
        } catch (const std::exception&) {
            // the test reports its own failures
        }
    });
    QObject::connect(thread, &QThread::finished, receiver, [thread, finished] {
        thread->deleteLater();
        if (finished) finished();
    });
    thread->start();
    return thread;
}

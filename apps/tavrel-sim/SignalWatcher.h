#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGINT and SIGTERM into a signal of the event loop, through a signalfd. block() must run
// before any thread starts, so that every thread inherits the blocked mask.
class SignalWatcher : public QObject {
    Q_OBJECT
public:
    static void block();
    explicit SignalWatcher(QObject* parent = nullptr);
    ~SignalWatcher() override;

signals:
    void terminate();

private:
    int m_fd = -1;
    QSocketNotifier* m_notifier = nullptr;
};

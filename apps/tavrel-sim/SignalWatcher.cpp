#include "SignalWatcher.h"

#include <QSocketNotifier>
#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {
sigset_t terminationSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}
} // namespace

void SignalWatcher::block() {
    const sigset_t set = terminationSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE, SIG_IGN); // a host that goes away must not take the simulator with it
}

SignalWatcher::SignalWatcher(QObject* parent) : QObject(parent) {
    const sigset_t set = terminationSignals();
    m_fd = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    if (m_fd < 0) return;
    m_notifier = new QSocketNotifier(m_fd, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] {
        signalfd_siginfo info;
        while (::read(m_fd, &info, sizeof info) == ssize_t(sizeof info)) {
        }
        emit terminate();
    });
}

SignalWatcher::~SignalWatcher() {
    if (m_fd >= 0) ::close(m_fd);
}

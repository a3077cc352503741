#include "iolib/backends/GpibLibrary.h"

#include "iolib/IOTrace.h"

#include <array>
#include <dlfcn.h>

namespace CorvaneIOUtilsLib {

namespace {
// linux-gpib's T-codes 1..17 (T10us .. T1000s) in microseconds.
constexpr std::array<qint64, 17> kTimeoutMicros = {
    10,     30,      100,     300,      1000,     3000,      10000,     30000,     100000,
    300000, 1000000, 3000000, 10000000, 30000000, 100000000, 300000000, 1000000000};

template <typename Function> bool resolve(void* handle, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(handle, name));
    return function != nullptr;
}
} // namespace

std::shared_ptr<GpibLibrary> GpibLibrary::load() {
    const QString configured = qEnvironmentVariable("TAVREL_GPIB_LIBRARY");
    auto library =
        std::make_shared<GpibLibrary>(configured.isEmpty() ? QStringLiteral("libgpib.so.0") : configured);
    if (!library->loaded()) Trace(QStringLiteral("GPIB: no GPIB ports: %1").arg(library->problem()));
    return library;
}

GpibLibrary::GpibLibrary(const QString& path) : m_path(path) {
    // The handle is never closed: sessions and other managers may still use the library, and a driver
    // library's static state is not meant to be torn down mid-process.
    void* handle = dlopen(path.toLocal8Bit().constData(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        m_problem =
            QStringLiteral("%1 could not be loaded (%2)").arg(path, QString::fromLocal8Bit(dlerror()));
        return;
    }
    const char* missing = nullptr;
    auto need = [&](const char* name, auto& function) {
        if (!missing && !resolve(handle, name, function)) missing = name;
    };
    need("ibdev", m_ibdev);
    need("ibwrt", m_ibwrt);
    need("ibrd", m_ibrd);
    need("ibclr", m_ibclr);
    need("ibtmo", m_ibtmo);
    need("ibonl", m_ibonl);
    need("ibln", m_ibln);
    need("ibloc", m_ibloc);
    need("ibask", m_ibask);
    if (!resolve(handle, "ThreadIberr", m_threadIberr))
        m_iberr = static_cast<volatile int*>(dlsym(handle, "iberr"));
    if (!resolve(handle, "ThreadIbcntl", m_threadIbcntl) && !resolve(handle, "ThreadIbcnt", m_threadIbcnt)) {
        m_ibcntl = static_cast<volatile long*>(dlsym(handle, "ibcntl"));
        if (!m_ibcntl) m_ibcnt = static_cast<volatile int*>(dlsym(handle, "ibcnt"));
    }
    if (!missing && !m_threadIberr && !m_iberr) missing = "ThreadIberr or iberr";
    if (!missing && !m_threadIbcntl && !m_threadIbcnt && !m_ibcntl && !m_ibcnt)
        missing = "ThreadIbcnt or ibcnt";
    if (missing) {
        m_problem = QStringLiteral("%1 lacks %2").arg(path, QString::fromLatin1(missing));
        return;
    }
    if (!m_threadIberr)
        Trace(
            QStringLiteral("GPIB: %1 has no per-thread status; using its global iberr and ibcnt").arg(path));
    m_loaded = true;
}

GpibLibrary::Status GpibLibrary::after(int sta) const {
    Status status;
    status.sta = sta;
    status.err = m_threadIberr ? m_threadIberr() : *m_iberr;
    if (m_threadIbcntl)
        status.count = m_threadIbcntl();
    else if (m_threadIbcnt)
        status.count = m_threadIbcnt();
    else
        status.count = m_ibcntl ? *m_ibcntl : *m_ibcnt;
    return status;
}

int GpibLibrary::device(int board, int pad, int sad, int timeoutCode, int eot, int eos,
                        Status& status) const {
    std::unique_lock lock(m_globalStatusMutex, std::defer_lock);
    if (!hasThreadStatus()) lock.lock();
    const int ud = m_ibdev(board, pad, sad, timeoutCode, eot, eos);
    // ibdev returns the descriptor, not ibsta; a negative one is the failure.
    status = after(ud < 0 ? kErr : 0);
    return ud;
}

GpibLibrary::Status GpibLibrary::write(int ud, const QByteArray& bytes) const {
    return guarded([&] { return m_ibwrt(ud, bytes.constData(), static_cast<long>(bytes.size())); });
}

GpibLibrary::Status GpibLibrary::read(int ud, char* buffer, long count) const {
    return guarded([&] { return m_ibrd(ud, buffer, count); });
}

GpibLibrary::Status GpibLibrary::clear(int ud) const {
    return guarded([&] { return m_ibclr(ud); });
}
GpibLibrary::Status GpibLibrary::setTimeout(int ud, int timeoutCode) const {
    return guarded([&] { return m_ibtmo(ud, timeoutCode); });
}
GpibLibrary::Status GpibLibrary::online(int ud, bool on) const {
    return guarded([&] { return m_ibonl(ud, on ? 1 : 0); });
}
GpibLibrary::Status GpibLibrary::local(int ud) const {
    return guarded([&] { return m_ibloc(ud); });
}

GpibLibrary::Status GpibLibrary::listener(int ud, int pad, int sad, bool& found) const {
    short answer = 0;
    const Status status = guarded([&] { return m_ibln(ud, pad, sad, &answer); });
    found = !status.failed() && answer != 0;
    return status;
}

GpibLibrary::Status GpibLibrary::ask(int ud, int option, int& value) const {
    return guarded([&] { return m_ibask(ud, option, &value); });
}

int GpibLibrary::timeoutCode(int ms) {
    const qint64 micros = qint64(ms) * 1000;
    for (std::size_t i = 0; i < kTimeoutMicros.size(); ++i)
        if (kTimeoutMicros[i] >= micros) return static_cast<int>(i) + 1;
    return static_cast<int>(kTimeoutMicros.size());
}

QString GpibLibrary::errorName(int iberr) {
    switch (iberr) {
    case kEdvr:
        return QStringLiteral("EDVR (system error)");
    case kEcic:
        return QStringLiteral("ECIC (board is not controller in charge)");
    case kEnol:
        return QStringLiteral("ENOL (no listeners)");
    case 3:
        return QStringLiteral("EADR (addressing error)");
    case kEarg:
        return QStringLiteral("EARG (invalid argument)");
    case 5:
        return QStringLiteral("ESAC (board is not system controller)");
    case kEabo:
        return QStringLiteral("EABO (timed out or aborted)");
    case kEneb:
        return QStringLiteral("ENEB (no such board)");
    case 8:
        return QStringLiteral("EDMA (DMA error)");
    case 10:
        return QStringLiteral("EOIP (operation in progress)");
    case 11:
        return QStringLiteral("ECAP (not supported by the board)");
    case 12:
        return QStringLiteral("EFSO (file system error)");
    case kEbus:
        return QStringLiteral("EBUS (bus error)");
    case 15:
        return QStringLiteral("ESTB (status byte lost)");
    case 16:
        return QStringLiteral("ESRQ (SRQ stuck on)");
    case 20:
        return QStringLiteral("ETAB (table problem)");
    }
    return QStringLiteral("error %1").arg(iberr);
}

} // namespace CorvaneIOUtilsLib

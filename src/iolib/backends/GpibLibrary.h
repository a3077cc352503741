#pragma once

#include <QByteArray>
#include <QString>
#include <memory>
#include <mutex>

namespace CorvaneIOUtilsLib {

// The linux-gpib C library, loaded at run time so that the product starts (without GPIB ports) on
// computers that do not have it. Every entry point is resolved with dlsym.
class GpibLibrary {
public:
    // ibsta bits, iberr codes and ibask options of linux-gpib.
    static constexpr int kErr = 0x8000, kTimo = 0x4000, kEnd = 0x2000;
    static constexpr int kEdvr = 0, kEcic = 1, kEnol = 2, kEarg = 4, kEabo = 6, kEneb = 7, kEbus = 14;
    static constexpr int kIbaPad = 0x1, kIbaTmo = 0x3;
    static constexpr int kNoSad = 0;
    static constexpr int kT30ms = 8;

    // What a call left behind: its ibsta, and iberr and ibcnt as the library reports them afterwards.
    struct Status {
        int sta = 0;
        int err = 0;
        long count = 0;
        bool failed() const { return (sta & kErr) != 0; }
        bool timedOut() const { return (sta & kTimo) != 0 || (failed() && err == kEabo); }
        bool end() const { return (sta & kEnd) != 0; }
    };

    // Loads the library named by TAVREL_GPIB_LIBRARY, else "libgpib.so.0". Never fails: a library
    // that cannot be loaded (or lacks an entry point) leaves loaded() false and says why in problem().
    static std::shared_ptr<GpibLibrary> load();
    explicit GpibLibrary(const QString& path);
    GpibLibrary(const GpibLibrary&) = delete;
    GpibLibrary& operator=(const GpibLibrary&) = delete;

    bool loaded() const { return m_loaded; }
    QString path() const { return m_path; }
    QString problem() const { return m_problem; }

    // ibdev; the descriptor is negative on failure.
    int device(int board, int pad, int sad, int timeoutCode, int eot, int eos, Status& status) const;
    Status write(int ud, const QByteArray& bytes) const;
    Status read(int ud, char* buffer, long count) const;
    Status clear(int ud) const;
    Status setTimeout(int ud, int timeoutCode) const;
    Status online(int ud, bool on) const;
    Status listener(int ud, int pad, int sad, bool& found) const;
    Status local(int ud) const;
    Status ask(int ud, int option, int& value) const;

    // The smallest T-code whose time is not below ms (T10us for 0; linux-gpib's TNONE would never end).
    static int timeoutCode(int ms);
    static QString errorName(int iberr);

private:
    Status after(int sta) const;
    // A library with only process-wide status variables: a call and the reading of its status must
    // not meet another thread's call, so they run one at a time.
    bool hasThreadStatus() const { return m_threadIberr && (m_threadIbcntl || m_threadIbcnt); }
    template <typename Call> Status guarded(Call&& call) const {
        std::unique_lock lock(m_globalStatusMutex, std::defer_lock);
        if (!hasThreadStatus()) lock.lock();
        return after(call());
    }

    QString m_path;
    QString m_problem;
    bool m_loaded = false;

    int (*m_ibdev)(int, int, int, int, int, int) = nullptr;
    int (*m_ibwrt)(int, const void*, long) = nullptr;
    int (*m_ibrd)(int, void*, long) = nullptr;
    int (*m_ibclr)(int) = nullptr;
    int (*m_ibtmo)(int, int) = nullptr;
    int (*m_ibonl)(int, int) = nullptr;
    int (*m_ibln)(int, int, int, short*) = nullptr;
    int (*m_ibloc)(int) = nullptr;
    int (*m_ibask)(int, int, int*) = nullptr;
    // Per-thread status where the library has it, else its process-wide variables.
    int (*m_threadIberr)() = nullptr;
    long (*m_threadIbcntl)() = nullptr;
    int (*m_threadIbcnt)() = nullptr;
    volatile int* m_iberr = nullptr;
    volatile long* m_ibcntl = nullptr;
    volatile int* m_ibcnt = nullptr;
    mutable std::mutex m_globalStatusMutex;
};

} // namespace CorvaneIOUtilsLib

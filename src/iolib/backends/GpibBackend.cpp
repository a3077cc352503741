#include "iolib/backends/GpibBackend.h"

#include "iolib/IOError.h"
#include "iolib/IOTrace.h"
#include "iolib/TransportSession.h"
#include "iolib/backends/GpibTransport.h"

namespace CorvaneIOUtilsLib {

GpibBackend::GpibBackend(std::shared_ptr<const GpibLibrary> library) : m_library(std::move(library)) {}

bool GpibBackend::boardPresent(int board, int* ownAddress) const {
    // Asking a board for its own address opens it in the driver: it fails for a board that is absent
    // or not configured, and needs no instrument on the bus.
    int pad = 0;
    const GpibLibrary::Status status = m_library->ask(board, GpibLibrary::kIbaPad, pad);
    if (ownAddress) *ownAddress = pad;
    return !status.failed();
}

QStringList GpibBackend::listBoard(int board) {
    std::lock_guard lock(m_boardMutex[board]);
    int ownAddress = 0;
    if (!boardPresent(board, &ownAddress)) return {};
    int savedTimeout = 0;
    const bool restore = !m_library->ask(board, GpibLibrary::kIbaTmo, savedTimeout).failed();
    m_library->setTimeout(board, kListingTimeoutCode);

    // The board itself comes first, so that one with nobody listening on it is still seen.
    QStringList entries{QStringLiteral("GPIB%1::INTFC").arg(board)};
    for (int pad = 0; pad <= 30; ++pad) {
        if (pad == ownAddress) continue;
        bool found = false;
        const GpibLibrary::Status status = m_library->listener(board, pad, GpibLibrary::kNoSad, found);
        if (status.failed() && !status.timedOut()) {
            Trace(QStringLiteral("GPIB%1: listing stopped at address %2: %3")
                      .arg(board)
                      .arg(pad)
                      .arg(GpibLibrary::errorName(status.err)));
            break;
        }
        if (found) entries << QStringLiteral("GPIB%1::%2::INSTR").arg(board).arg(pad);
    }
    if (restore) m_library->setTimeout(board, savedTimeout);
    return entries;
}

QStringList GpibBackend::list(const QString& literalPrefix) {
    QStringList entries;
    if (!m_library->loaded()) return entries;
    for (int board = 0; board < kBoards; ++board)
        if (couldMatch(literalPrefix, QStringLiteral("GPIB%1").arg(board))) entries << listBoard(board);
    return entries;
}

std::unique_ptr<IOSession> GpibBackend::open(const ResourceAddress& address) {
    const QString resource = address.resourceName();
    if (!m_library->loaded())
        throw IOError(IOError::NotFound,
                      QStringLiteral("%1: there are no GPIB ports: %2").arg(resource, m_library->problem()));
    if (address.board >= kBoards || !boardPresent(address.board, nullptr))
        throw IOError(IOError::NotFound,
                      QStringLiteral("%1: the GPIB port %2 does not exist on this computer")
                          .arg(resource, address.portName()));
    GpibLibrary::Status status;
    const int timeoutCode = GpibLibrary::timeoutCode(IOSession::kDefaultTimeoutMs);
    // END with the last byte of every write (eot 1), no end-of-string character (eos 0).
    const int ud =
        m_library->device(address.board, address.primary, GpibLibrary::kNoSad, timeoutCode, 1, 0, status);
    if (ud < 0)
        throw IOError(IOError::NotFound, QStringLiteral("%1: cannot open the device: %2")
                                             .arg(resource, GpibLibrary::errorName(status.err)));
    return std::make_unique<TransportSession<IOSession>>(
        QStringLiteral("GPIB"), resource,
        std::make_unique<GpibTransport>(m_library, ud, timeoutCode, resource));
}

} // namespace CorvaneIOUtilsLib

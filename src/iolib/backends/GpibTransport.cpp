#include "iolib/backends/GpibTransport.h"

#include <algorithm>

namespace CorvaneIOUtilsLib {

namespace {
// ibrd fills a buffer of the size asked for; large block reads are split into reads of this size.
constexpr qsizetype kMaxRead = 4 * 1024 * 1024;
} // namespace

GpibTransport::GpibTransport(std::shared_ptr<const GpibLibrary> library, int ud, int timeoutCode,
                             QString resource)
    : m_library(std::move(library)), m_ud(ud), m_resource(std::move(resource)), m_timeoutCode(timeoutCode) {}

IOError GpibTransport::errorFor(const GpibLibrary::Status& status, const QString& resource,
                                const QString& what) {
    if (status.timedOut())
        return IOError(IOError::Timeout, QStringLiteral("%1: %2 timed out").arg(resource, what));
    if (status.err == GpibLibrary::kEnol)
        return IOError(IOError::NotFound,
                       QStringLiteral("%1: no instrument listens at this address").arg(resource));
    return IOError(
        IOError::Io,
        QStringLiteral("%1: %2 failed: %3").arg(resource, what, GpibLibrary::errorName(status.err)));
}

void GpibTransport::useTimeout(int timeoutMs) {
    const int code = GpibLibrary::timeoutCode(timeoutMs);
    if (code == m_timeoutCode) return;
    const GpibLibrary::Status status = m_library->setTimeout(m_ud, code);
    if (status.failed()) throw errorFor(status, m_resource, QStringLiteral("setting the timeout"));
    m_timeoutCode = code;
}

void GpibTransport::write(const QByteArray& bytes, int timeoutMs) {
    useTimeout(timeoutMs);
    const GpibLibrary::Status status = m_library->write(m_ud, bytes);
    if (status.failed())
        throw errorFor(status, m_resource, QStringLiteral("sending %1 bytes").arg(bytes.size()));
}

ReadChunk GpibTransport::read(qsizetype maxBytes, int timeoutMs) {
    useTimeout(timeoutMs);
    QByteArray buffer(std::clamp<qsizetype>(maxBytes, 1, kMaxRead), Qt::Uninitialized);
    const GpibLibrary::Status status = m_library->read(m_ud, buffer.data(), static_cast<long>(buffer.size()));
    ReadChunk chunk;
    chunk.data = buffer.left(std::clamp<qsizetype>(status.count, 0, buffer.size()));
    chunk.end = status.end() && !chunk.data.isEmpty();
    if (status.failed()) {
        // A timeout that still delivered bytes is progress; the reader decides what is missing.
        if (!status.timedOut()) throw errorFor(status, m_resource, QStringLiteral("reading"));
        chunk.status = ReadChunk::Timeout;
    }
    return chunk;
}

void GpibTransport::clear(int timeoutMs) {
    useTimeout(timeoutMs);
    const GpibLibrary::Status status = m_library->clear(m_ud);
    if (status.failed()) throw errorFor(status, m_resource, QStringLiteral("device clear"));
}

void GpibTransport::close() {
    if (m_ud < 0) return;
    // Hand the instrument's front panel back to the user before letting go of the descriptor.
    m_library->local(m_ud);
    m_library->online(m_ud, false);
    m_ud = -1;
}

} // namespace CorvaneIOUtilsLib

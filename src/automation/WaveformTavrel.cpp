#include "automation/WaveformTavrel.h"

#include "automation/ScopeTavrel.h"
#include "automation/WaveformPreamble.h"
#include "iolib/IOError.h"
#include "iolib/IOSession.h"

#include <QtEndian>

#include <algorithm>
#include <cstdint>
#include <memory>

#ifdef Q_OS_LINUX
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace BrumelTB {

namespace {
// Everything the transfer needs is set in the message that asks for the preamble: one round trip.
const QString kSelect =
    QStringLiteral(":WAVeform:SOURce %1;FORMat WORD;BYTeorder LSBFirst;POINts %2;PREamble?");
const QString kData = QStringLiteral(":WAVeform:DATA?\n");
// Codes need no preamble to land where they belong: the data is asked for first and the preamble after
// it in the same message, and the whole read is one round trip.
const QString kSelectDataFirst =
    QStringLiteral(":WAVeform:SOURce %1;FORMat WORD;BYTeorder LSBFirst;POINts %2;DATA?;PREamble?\n");
const QString kLogicSource = QStringLiteral("LOGic");
const QString kDisplayedQuery = QStringLiteral(":CHANnel%1:DISPlay?");
constexpr int kWordBytes = 2;
// Large enough that a slice costs few system calls, small enough that converting one overlaps the
// arrival of the next.
constexpr qsizetype kSliceBytes = 256 * 1024;
// How long to wait for the line end that follows a block (as the I/O library does).
constexpr int kTrailerWaitMs = 100;
// More than any Tavrel record holds; a preamble announcing more is corrupt, not a reason to allocate.
constexpr qint64 kMaxPoints = 64 * 1000 * 1000;

// The length a definite-length block header announces; the header is consumed.
qint64 readBlockLength(CorvaneIOUtilsLib::IOSession& io) {
    const QByteArray start = io.ReadBytes(2);
    if (start.at(0) != '#' || start.at(1) < '1' || start.at(1) > '9') {
        io.Clear();
        throw ServerError(
            QStringLiteral("the waveform data does not begin with a definite-length block header "
                           "(\"%1\")")
                .arg(QString::fromLatin1(start.toPercentEncoding())));
    }
    const QByteArray digits = io.ReadBytes(start.at(1) - '0');
    bool ok = false;
    const qint64 length = digits.toLongLong(&ok);
    if (!ok) {
        io.Clear();
        throw ServerError(
            QStringLiteral("bad waveform block length \"%1\"").arg(QString::fromLatin1(digits)));
    }
    return length;
}

// The data block that answers ":WAVeform:DATA?", read in slices and handed to sink(first sample,
// bytes, sample count) as each arrives, so that converting overlaps the transfer. The block must
// hold exactly samples WORD codes; an empty block is left to the caller (the source had no data).
template <typename Sink> qint64 receiveWords(CorvaneIOUtilsLib::IOSession& io, qint64 samples, Sink&& sink) {
    const qint64 length = readBlockLength(io);
    if (length > samples * kWordBytes) {
        // More than the preamble allows is no reason to read on: the rest is dropped with a clear.
        io.Clear();
        throw ServerError(QStringLiteral("the instrument announces a block of %1 bytes for a waveform of %2 "
                                         "WORD samples (%3 bytes)")
                              .arg(length)
                              .arg(samples)
                              .arg(samples * kWordBytes));
    }
    // A block of another size is read all the same, so that the session stays in step. Each slice
    // lands in one buffer straight from the bus and is converted while it is still in the cache.
    const bool fits = length == 0 || length == samples * kWordBytes;
    const auto slice = std::make_unique_for_overwrite<char[]>(
        static_cast<size_t>(std::clamp<qint64>(length, 1, kSliceBytes)));
    for (qint64 done = 0; done < length;) {
        const qsizetype count = static_cast<qsizetype>(std::min<qint64>(kSliceBytes, length - done));
        io.ReadBytesInto(slice.get(), count);
        if (fits) sink(done / kWordBytes, reinterpret_cast<const uchar*>(slice.get()), count / kWordBytes);
        done += count;
    }
    // The line end that ends the response; an instrument that sends none costs only the short wait.
    const int timeout = io.Timeout();
    io.SetTimeout(std::min(timeout, kTrailerWaitMs));
    try {
        const QByteArray trailer = io.ReadBytes(1);
        io.SetTimeout(timeout);
        if (trailer != "\n")
            throw ServerError(QStringLiteral("the waveform block is not followed by a line end"));
    } catch (const CorvaneIOUtilsLib::IOError& e) {
        io.SetTimeout(timeout);
        if (e.kind() != CorvaneIOUtilsLib::IOError::Timeout) throw;
    }
    if (!fits)
        throw ServerError(QStringLiteral("the instrument sent %1 bytes for a waveform of %2 WORD samples")
                              .arg(length)
                              .arg(samples));
    return length;
}

// A new array for a large record is megabytes the kernel has not mapped yet: touched a page at a
// time, every page costs a fault, which took most of a transfer's time. Backed by huge pages where
// the system allows it and mapped in one call, the same memory costs a fraction of that. Only advice
// on the array's own pages: a kernel that refuses either leaves the faults as they were.
void mapAhead(void* start, size_t bytes) {
#ifdef Q_OS_LINUX
    constexpr size_t kWorthIt = 1 << 20;
    if (bytes < kWorthIt) return;
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t first = (reinterpret_cast<std::uintptr_t>(start) + page - 1) & ~(page - 1);
    const std::uintptr_t last = (reinterpret_cast<std::uintptr_t>(start) + bytes) & ~(page - 1);
    if (last <= first) return;
#ifdef MADV_HUGEPAGE
    madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#endif
#ifdef MADV_POPULATE_WRITE
    madvise(reinterpret_cast<void*>(first), last - first, MADV_POPULATE_WRITE);
#endif
#else
    Q_UNUSED(start);
    Q_UNUSED(bytes);
#endif
}

// A new array of n elements, mapped ahead.
template <typename T> void newArray(QVector<T>& array, qsizetype n) {
    array = QVector<T>();
    array.reserve(n);
    mapAhead(array.data(), static_cast<size_t>(n) * sizeof(T));
    array.resize(n);
}

// The caller's array, holding n samples for the conversion to overwrite. One of that size is used as
// it is (a host handing its arrays back pays nothing); one too small is replaced by a new one mapped
// ahead.
template <typename T> T* outputArray(QVector<T>& array, qsizetype n) {
    if (array.size() != n) {
        if (array.capacity() < n)
            newArray(array, n);
        else
            array.resize(n);
    }
    return array.data();
}

// Arrays smaller than this are cheap to make new; keeping them would only cost the host a copy when
// it writes into one.
constexpr qsizetype kWorthKeepingBytes = 64 * 1024;
// The time and volt arrays of four channels: what one GetAllWaveformData hands out.
constexpr size_t kKeptArrays = 8;

} // namespace

template <typename T> void SpareArrays<T>::take(QVector<T>& array, qsizetype n) {
    // A host handing back what it got last time: the kept share goes, and the array is its own again.
    std::erase_if(m_arrays, [&](const QVector<T>& kept) { return kept.isSharedWith(array); });
    if (array.isDetached() && array.capacity() >= n) {
        array.resize(n);
        return;
    }
    for (auto it = m_arrays.begin(); it != m_arrays.end(); ++it) {
        if (it->isDetached() && it->capacity() >= n) {
            array = std::move(*it);
            m_arrays.erase(it);
            array.resize(n);
            return;
        }
    }
    newArray(array, n);
}

template <typename T> void SpareArrays<T>::keep(const QVector<T>& array) {
    if (array.size() * static_cast<qsizetype>(sizeof(T)) < kWorthKeepingBytes) return;
    m_arrays.push_front(array);
    if (m_arrays.size() > kKeptArrays) m_arrays.pop_back();
}

template class SpareArrays<double>;

const MnemonicTable<Tavrel_WaveformPoints>& WaveformTavrel::PointsTable() {
    static const MnemonicTable<Tavrel_WaveformPoints> table("Tavrel_WaveformPoints",
                                                            {{Tavrel_DataPoints_100, "100"},
                                                             {Tavrel_DataPoints_250, "250"},
                                                             {Tavrel_DataPoints_500, "500"},
                                                             {Tavrel_DataPoints_1000, "1000"},
                                                             {Tavrel_DataPoints_2000, "2000"},
                                                             {Tavrel_DataPoints_ALL, "MAXimum"}});
    return table;
}

const MnemonicTable<Tavrel_AnalogChannels>& WaveformTavrel::SourceTable() {
    static const MnemonicTable<Tavrel_AnalogChannels> table("Tavrel_AnalogChannels",
                                                            {{Tavrel_Channel_1, "CHANnel1"},
                                                             {Tavrel_Channel_2, "CHANnel2"},
                                                             {Tavrel_Channel_3, "CHANnel3"},
                                                             {Tavrel_Channel_4, "CHANnel4"}});
    return table;
}

WaveformPreamble WaveformTavrel::selectWordSource(const QString& source, Tavrel_WaveformPoints points) {
    const QString command = kSelect.arg(source, PointsTable().Mnemonic(points));
    const QString reply = m_scope.QueryText(command);
    const WaveformPreamble preamble = WaveformPreamble::Parse(reply);
    if (preamble.format != WaveformPreamble::Word)
        throw ServerError(QStringLiteral("the instrument describes WORD data as format %1 in the preamble %2")
                              .arg(preamble.format)
                              .arg(WaveformPreamble::Quoted(reply)));
    if (preamble.points > kMaxPoints)
        throw ServerError(QStringLiteral("the waveform preamble announces %1 points").arg(preamble.points));
    m_scope.IO().WriteString(kData);
    return preamble;
}

void WaveformTavrel::noData() {
    // An empty block: the instrument refused the source or has nothing acquired; its queue says which.
    m_scope.CheckInstrumentErrors();
    throw ServerError(QStringLiteral("the instrument has no waveform data for that source"));
}

void WaveformTavrel::GetWaveformData(Tavrel_AnalogChannels channel, Tavrel_WaveformPoints points,
                                     QVector<double>& time, QVector<double>& data) {
    const WaveformPreamble preamble = selectWordSource(SourceTable().Mnemonic(channel), points);
    m_spare.take(time, preamble.points);
    m_spare.take(data, preamble.points);
    double* t = time.data();
    double* v = data.data();
    const qint64 length = receiveWords(m_scope.IO(), preamble.points,
                                       [&](qsizetype first, const uchar* bytes, qsizetype count) {
                                           ConvertSlice(preamble, bytes, first, count, true, t, v);
                                       });
    if (length == 0) noData();
    m_spare.keep(time);
    m_spare.keep(data);
}

void WaveformTavrel::GetWaveformSamples(Tavrel_AnalogChannels channel, Tavrel_WaveformPoints points,
                                        WaveformSamples::Kind kind, WaveformSamples& samples) {
    if (kind != WaveformSamples::Codes && kind != WaveformSamples::Volts)
        throw ServerError(QStringLiteral("there is no sample kind %1").arg(static_cast<int>(kind)));
    samples.kind = kind;
    if (kind == WaveformSamples::Codes) {
        samples.volts.clear();
        readCodes(SourceTable().Mnemonic(channel), points, samples);
        return;
    }
    const WaveformPreamble preamble = selectWordSource(SourceTable().Mnemonic(channel), points);
    samples.preamble = preamble;
    samples.codes.clear();
    float* volts = outputArray(samples.volts, preamble.points);
    const qint64 length = receiveWords(m_scope.IO(), preamble.points,
                                       [&](qsizetype first, const uchar* bytes, qsizetype count) {
                                           ConvertWordsToFloatVolts(preamble, bytes, count, volts + first);
                                       });
    if (length == 0) noData();
}

void WaveformTavrel::readCodes(const QString& source, Tavrel_WaveformPoints points,
                               WaveformSamples& samples) {
    CorvaneIOUtilsLib::IOSession& io = m_scope.IO();
    io.WriteString(kSelectDataFirst.arg(source, PointsTable().Mnemonic(points)));
    qint64 length = 0;
    try {
        length = readBlockLength(io);
    } catch (const CorvaneIOUtilsLib::IOError& e) {
        // A refused command voids the rest of the message, the data included; the queue says why.
        if (e.kind() == CorvaneIOUtilsLib::IOError::Timeout) m_scope.CheckInstrumentErrors();
        throw;
    }
    if (length % kWordBytes != 0 || length > kMaxPoints * kWordBytes) {
        io.Clear();
        throw ServerError(
            QStringLiteral("the instrument announces a waveform block of %1 bytes").arg(length));
    }
    // Little-endian codes are what a little-endian host keeps: the block lands in the buffer as is.
    quint16* codes = outputArray(samples.codes, length / kWordBytes);
    if (length > 0) io.ReadBytesInto(reinterpret_cast<char*>(codes), static_cast<qsizetype>(length));
    if constexpr (Q_BYTE_ORDER != Q_LITTLE_ENDIAN)
        for (quint16& code : samples.codes)
            code = qFromLittleEndian(code);
    if (io.ReadBytes(1) != ";") {
        io.Clear();
        throw ServerError(QStringLiteral("the waveform block is not followed by its preamble"));
    }
    samples.preamble = WaveformPreamble::Parse(io.ReadString());
    if (length == 0) noData();
    if (samples.preamble.format != WaveformPreamble::Word || samples.preamble.points * kWordBytes != length)
        throw ServerError(QStringLiteral("the instrument sent %1 bytes for a waveform of %2 WORD samples")
                              .arg(length)
                              .arg(samples.preamble.points));
}

QList<ChannelWaveform> WaveformTavrel::GetAllWaveformData(Tavrel_WaveformPoints points) {
    PointsTable().Mnemonic(points); // refuse a bad count before anything is sent
    QStringList queries;
    for (const auto& row : SourceTable().Rows())
        queries << kDisplayedQuery.arg(static_cast<int>(row.value));
    const QStringList displayed = m_scope.QueryText(queries.join(QLatin1Char(';'))).split(QLatin1Char(';'));
    if (displayed.size() != static_cast<qsizetype>(SourceTable().Rows().size()))
        throw ServerError(QStringLiteral("the instrument answered \"%1\" for the displayed channels")
                              .arg(displayed.join(QLatin1Char(';'))));
    QList<ChannelWaveform> out;
    for (qsizetype i = 0; i < displayed.size(); ++i) {
        if (OnOffTable().FromReply(displayed[i]) == Tavrel_Off) continue;
        ChannelWaveform waveform;
        waveform.channel = SourceTable().Rows()[static_cast<size_t>(i)].value;
        GetWaveformData(waveform.channel, points, waveform.time, waveform.data);
        out.append(std::move(waveform));
    }
    return out;
}

void WaveformTavrel::GetLogicData(Tavrel_WaveformPoints points, QVector<double>& time,
                                  QVector<quint16>& data) {
    const WaveformPreamble preamble = selectWordSource(kLogicSource, points);
    m_spare.take(time, preamble.points);
    double* t = time.data();
    quint16* c = outputArray(data, preamble.points);
    const qint64 length = receiveWords(m_scope.IO(), preamble.points,
                                       [&](qsizetype first, const uchar* bytes, qsizetype count) {
                                           ConvertLogicSlice(preamble, bytes, first, count, true, t, c);
                                       });
    if (length == 0) noData();
    m_spare.keep(time);
}

} // namespace BrumelTB

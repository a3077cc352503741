#include "sim/WaveformEncoder.h"

#include "sim/ScpiValues.h"
#include "sim/TavrelScope.h"

#include <QtEndian>
#include <algorithm>
#include <charconv>
#include <cstring>

namespace tavrelsim {
namespace {

inline quint8 byteCode(quint16 word, int kind) {
    switch (kind) {
    case WaveformRecord::Pod1:
        return quint8(word & 0xFF);
    case WaveformRecord::Pod2:
        return quint8(word >> 8);
    default:
        return quint8(std::min(255, (word + 128) >> 8)); // the nearest of 256 codes
    }
}

} // namespace

WaveformEncoder::WaveformEncoder(const WaveformRecord& record, const WaveformState& settings)
    : m_record(record), m_msbFirst(settings.byteOrder == WaveformState::MsbFirst) {
    // A pod's inputs fill a byte and all sixteen a word, whatever FORMat says; ASCii stays ASCii.
    if (settings.format == WaveformState::Ascii)
        m_format = Ascii;
    else if (record.kind == WaveformRecord::Pod1 || record.kind == WaveformRecord::Pod2)
        m_format = Byte;
    else if (record.kind == WaveformRecord::Logic)
        m_format = Word;
    else
        m_format = settings.format == WaveformState::Word ? Word : Byte;
    m_points = pointsFor(record.size(), settings.points);
    m_step = m_points > 0 ? (record.size() + m_points - 1) / m_points : 1;
}

qsizetype WaveformEncoder::pointsFor(qsizetype recordLength, int requested) {
    if (requested == WaveformState::MaximumPoints || requested >= recordLength) return recordLength;
    const qsizetype step = (recordLength + requested - 1) / requested;
    return (recordLength + step - 1) / step;
}

quint16 WaveformEncoder::sample(qsizetype j) const {
    const quint16* s = m_record.samples->data();
    const qsizetype first = j * m_step;
    if (m_step == 1 || m_record.type != WaveformRecord::Peak) return s[first];
    // Even points carry the minima of a peak record, odd ones the maxima: keep them so.
    const quint16* last = s + std::min(first + m_step, m_record.size());
    return j % 2 == 0 ? *std::min_element(s + first, last) : *std::max_element(s + first, last);
}

QByteArray WaveformEncoder::preamble() const {
    const bool analog = m_record.kind == WaveformRecord::Analog;
    double yIncrement = 1, yOrigin = 0;
    int yReference = 0;
    if (analog) {
        yOrigin = m_record.offset;
        yIncrement = m_format == Byte ? m_record.scale / 32 : m_record.wordIncrement();
        yReference = m_format == Byte ? 128 : WaveformRecord::WordCentre;
    }
    const QList<QByteArray> fields{QByteArray::number(m_format),
                                   QByteArray::number(m_record.type),
                                   QByteArray::number(m_points),
                                   QByteArray::number(m_record.count),
                                   ScpiValues::formatExactReal(m_record.xIncrement * double(m_step)),
                                   ScpiValues::formatExactReal(m_record.xOrigin),
                                   "0",
                                   ScpiValues::formatExactReal(yIncrement),
                                   ScpiValues::formatExactReal(yOrigin),
                                   QByteArray::number(yReference)};
    return fields.join(',');
}

qsizetype WaveformEncoder::dataSize() const {
    return m_format == Word ? 2 * m_points : m_points;
}

void WaveformEncoder::writeWords(char* out) const {
    const quint16* s = m_record.samples->data();
    if (m_step == 1 && m_msbFirst == (QSysInfo::ByteOrder == QSysInfo::BigEndian)) {
        std::memcpy(out, s, size_t(2 * m_points)); // the record already is the wire format
        return;
    }
    for (qsizetype j = 0; j < m_points; ++j) {
        const quint16 v = sample(j);
        if (m_msbFirst)
            qToBigEndian(v, out + 2 * j);
        else
            qToLittleEndian(v, out + 2 * j);
    }
}

void WaveformEncoder::writeBytes(char* out) const {
    const int kind = m_record.kind;
    if (m_step == 1) {
        const quint16* s = m_record.samples->data();
        for (qsizetype j = 0; j < m_points; ++j)
            out[j] = char(byteCode(s[j], kind));
        return;
    }
    for (qsizetype j = 0; j < m_points; ++j)
        out[j] = char(byteCode(sample(j), kind));
}

QByteArray WaveformEncoder::asciiBlock() const {
    QByteArray text(m_points * 16, Qt::Uninitialized);
    char* p = text.data();
    const bool analog = m_record.kind == WaveformRecord::Analog;
    for (qsizetype j = 0; j < m_points; ++j) {
        if (j > 0) *p++ = ',';
        const quint16 v = sample(j);
        if (analog)
            p = ScpiValues::writeReal(p, m_record.volts(v));
        else if (m_record.kind == WaveformRecord::Logic)
            p = std::to_chars(p, p + 6, v).ptr;
        else
            p = std::to_chars(p, p + 6, byteCode(v, m_record.kind)).ptr;
    }
    text.truncate(p - text.data());
    QByteArray out = TavrelScope::blockHeader(text.size());
    out.reserve(out.size() + text.size() + 1);
    out.append(text);
    return out;
}

QByteArray WaveformEncoder::block() const {
    if (m_format == Ascii) return asciiBlock();
    const QByteArray header = TavrelScope::blockHeader(dataSize());
    QByteArray out(header.size() + dataSize() + 1, Qt::Uninitialized);
    std::memcpy(out.data(), header.constData(), size_t(header.size()));
    char* data = out.data() + header.size();
    if (m_points == 0)
        ;
    else if (m_format == Word)
        writeWords(data);
    else
        writeBytes(data);
    out.resize(out.size() - 1); // keeps the capacity for the "\n"
    return out;
}

} // namespace tavrelsim

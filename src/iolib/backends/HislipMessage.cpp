#include "iolib/backends/HislipMessage.h"

#include <QtEndian>

namespace CorvaneIOUtilsLib {

namespace Hislip {

QByteArray encode(quint8 type, quint8 control, quint32 parameter, const QByteArray& payload) {
    QByteArray message(kHeaderSize, Qt::Uninitialized);
    uchar* header = reinterpret_cast<uchar*>(message.data());
    header[0] = 'H';
    header[1] = 'S';
    header[2] = type;
    header[3] = control;
    qToBigEndian<quint32>(parameter, header + 4);
    qToBigEndian<quint64>(static_cast<quint64>(payload.size()), header + 8);
    return message + payload;
}

bool decode(const char* bytes, Header& header) {
    const auto* b = reinterpret_cast<const uchar*>(bytes);
    if (b[0] != 'H' || b[1] != 'S') return false;
    header.type = b[2];
    header.control = b[3];
    header.parameter = qFromBigEndian<quint32>(b + 4);
    header.length = qFromBigEndian<quint64>(b + 8);
    return true;
}

QByteArray encodeSize(quint64 size) {
    QByteArray bytes(8, Qt::Uninitialized);
    qToBigEndian<quint64>(size, bytes.data());
    return bytes;
}

quint64 decodeSize(const QByteArray& payload) {
    return payload.size() == 8 ? qFromBigEndian<quint64>(payload.constData()) : 0;
}

} // namespace Hislip

} // namespace CorvaneIOUtilsLib

#pragma once

#include <QByteArray>
#include <QtGlobal>

namespace CorvaneIOUtilsLib {

// HiSLIP messages: a 16-byte header ("HS", the message type, a control code, a 32-bit message
// parameter and a 64-bit payload length, big-endian) and the payload.
namespace Hislip {

enum MessageType : quint8 {
    Initialize = 0,
    InitializeResponse = 1,
    FatalError = 2,
    Error = 3,
    AsyncLock = 4,
    AsyncLockResponse = 5,
    Data = 6,
    DataEnd = 7,
    DeviceClearComplete = 8,
    DeviceClearAcknowledge = 9,
    AsyncRemoteLocalControl = 10,
    AsyncRemoteLocalResponse = 11,
    Trigger = 12,
    Interrupted = 13,
    AsyncInterrupted = 14,
    AsyncMaximumMessageSize = 15,
    AsyncMaximumMessageSizeResponse = 16,
    AsyncInitialize = 17,
    AsyncInitializeResponse = 18,
    AsyncDeviceClear = 19,
    AsyncServiceRequest = 20,
    AsyncStatusQuery = 21,
    AsyncStatusResponse = 22,
    AsyncDeviceClearAcknowledge = 23,
};

constexpr int kHeaderSize = 16;
// Protocol version 1.0, as the upper half of Initialize's parameter.
constexpr quint16 kProtocolVersion = 0x0100;
// Our vendor id, two ASCII characters.
constexpr quint16 kVendorId = ('T' << 8) | 'V';
// The message id of the first message after opening and after a device clear; each message sent
// adds two.
constexpr quint32 kFirstMessageId = 0xFFFFFF00u;

struct Header {
    quint8 type = 0;
    quint8 control = 0;
    quint32 parameter = 0;
    quint64 length = 0;

    bool operator==(const Header&) const = default;
};

// The header followed by the payload; the header's length is the payload's.
QByteArray encode(quint8 type, quint8 control, quint32 parameter, const QByteArray& payload = {});
// The header of 16 bytes; false when they do not begin with "HS".
bool decode(const char* bytes, Header& header);
// A 64-bit big-endian number (the maximum message size's payload).
QByteArray encodeSize(quint64 size);
quint64 decodeSize(const QByteArray& payload);

} // namespace Hislip

} // namespace CorvaneIOUtilsLib

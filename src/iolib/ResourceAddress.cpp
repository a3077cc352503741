#include "iolib/ResourceAddress.h"

#include "iolib/IOError.h"

#include <QRegularExpression>

namespace CorvaneIOUtilsLib {

namespace {

[[noreturn]] void bad(const QString& text, const QString& why) {
    throw IOError(IOError::BadAddress, QStringLiteral("\"%1\" is not a valid address: %2").arg(text, why));
}

int keywordNumber(const QString& text, const QString& item, const QString& value) {
    bool ok = false;
    const int number = value.toInt(&ok);
    if (!ok) bad(text, QStringLiteral("\"%1\" needs a number").arg(item));
    return number;
}

int handshakeCode(const QString& text, const QString& item, const QString& value) {
    static const QList<std::pair<QString, int>> names = {
        {QStringLiteral("NONE"), RS232_HandShake_None},
        {QStringLiteral("XON_XOFF"), RS232_HandShake_XON_XOFF},
        {QStringLiteral("RTS_CTS"), RS232_HandShake_RTS_CTS},
        {QStringLiteral("DTR_DSR"), RS232_HandShake_DTR_DSR},
    };
    for (const auto& [name, code] : names)
        if (value.compare(name, Qt::CaseInsensitive) == 0 || value == QString::number(code)) return code;
    bad(text, QStringLiteral("\"%1\": the handshake is NONE, XON_XOFF, RTS_CTS or DTR_DSR").arg(item));
}

int parityCode(const QString& text, const QString& item, const QString& value) {
    static const QList<std::pair<QString, int>> names = {
        {QStringLiteral("NONE"), RS232_Parity_None},   {QStringLiteral("ODD"), RS232_Parity_Odd},
        {QStringLiteral("EVEN"), RS232_Parity_Even},   {QStringLiteral("MARK"), RS232_Parity_Mark},
        {QStringLiteral("SPACE"), RS232_Parity_Space},
    };
    for (const auto& [name, code] : names)
        if (value.compare(name, Qt::CaseInsensitive) == 0 || value == QString::number(code)) return code;
    // Older address strings write "Parity=0" for no parity.
    if (value == QStringLiteral("0")) return RS232_Parity_None;
    bad(text, QStringLiteral("\"%1\": the parity is NONE, ODD, EVEN, MARK, SPACE or a code 1..5").arg(item));
}

void parseSerialKeywords(const QString& text, const QString& list, SerialSettings& serial) {
    for (const QString& item : list.split(QLatin1Char(','))) {
        const qsizetype equals = item.indexOf(QLatin1Char('='));
        if (equals <= 0 || equals == item.size() - 1)
            bad(text, QStringLiteral("\"%1\" is not a keyword=value item").arg(item));
        const QString key = item.left(equals).toUpper();
        const QString value = item.mid(equals + 1);
        if (key == QStringLiteral("BAUD")) {
            serial.baudRate = keywordNumber(text, item, value);
            if (serial.baudRate <= 0)
                bad(text, QStringLiteral("\"%1\": the baud rate must be positive").arg(item));
        } else if (key == QStringLiteral("HANDSHAKE")) {
            serial.handshake = handshakeCode(text, item, value);
        } else if (key == QStringLiteral("PARITY")) {
            serial.parity = parityCode(text, item, value);
        } else if (key == QStringLiteral("SIZE")) {
            serial.dataBits = keywordNumber(text, item, value);
            if (serial.dataBits < 5 || serial.dataBits > 8)
                bad(text, QStringLiteral("\"%1\": the data size is 5..8 bits").arg(item));
        } else if (key == QStringLiteral("STOP")) {
            serial.stopBits = keywordNumber(text, item, value);
            if (serial.stopBits != 1 && serial.stopBits != 2)
                bad(text, QStringLiteral("\"%1\": the stop bits are 1 or 2").arg(item));
        } else {
            bad(text,
                QStringLiteral("unknown keyword \"%1\" (Baud, Handshake, Parity, Size, Stop)").arg(item));
        }
    }
}

int boardNumber(const QString& text, const QString& digits) {
    if (digits.size() > 2) bad(text, QStringLiteral("the board number is 0..99"));
    return digits.isEmpty() ? 0 : digits.toInt();
}

// "TCPIP<n>::<host>::<port>::SOCKET", "TCPIP<n>::<host>[::<device>]::INSTR".
ResourceAddress parseLan(const QString& text, const QString& trimmed) {
    static const QRegularExpression form(
        QStringLiteral("^TCPIP(\\d*)::([^:\\s]+)(?:::([^:\\s]+))?::(SOCKET|INSTR)$"),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = form.match(trimmed);
    if (!match.hasMatch())
        bad(text, QStringLiteral("a LAN address is TCPIP<n>::<host>::<port>::SOCKET or "
                                 "TCPIP<n>::<host>[::<device>]::INSTR"));
    ResourceAddress address;
    address.lanBoard = boardNumber(text, match.captured(1));
    address.host = match.captured(2);
    const QString third = match.captured(3);
    if (match.captured(4).compare(QStringLiteral("SOCKET"), Qt::CaseInsensitive) == 0) {
        bool ok = false;
        const int port = third.toInt(&ok);
        if (!ok || port < 1 || port > 65535 || third.size() > 5)
            bad(text, QStringLiteral("the TCP port must be 1..65535"));
        address.kind = ResourceAddress::TcpSocket;
        address.tcpPort = static_cast<quint16>(port);
        return address;
    }
    static const QRegularExpression hislip(QStringLiteral("^hislip(\\d+)(?:,(\\d+))?$"),
                                           QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch hislipMatch = hislip.match(third);
    if (hislipMatch.hasMatch()) {
        address.kind = ResourceAddress::Hislip;
        address.device = QStringLiteral("hislip") + hislipMatch.captured(1);
        address.tcpPort = ResourceAddress::kHislipDefaultPort;
        if (hislipMatch.capturedStart(2) >= 0) {
            const int port = hislipMatch.captured(2).toInt();
            if (port < 1 || port > 65535 || hislipMatch.captured(2).size() > 5)
                bad(text, QStringLiteral("the HiSLIP port must be 1..65535"));
            address.tcpPort = static_cast<quint16>(port);
        }
        return address;
    }
    if (third.startsWith(QStringLiteral("hislip"), Qt::CaseInsensitive))
        bad(text, QStringLiteral("a HiSLIP device is hislip<n> or hislip<n>,<port>"));
    address.kind = ResourceAddress::Vxi11;
    address.device = third.isEmpty() ? QStringLiteral("inst0") : third;
    return address;
}

quint16 usbId(const QString& text, const QString& what, const QString& value) {
    bool ok = false;
    const uint id = value.startsWith(QStringLiteral("0x"), Qt::CaseInsensitive) ? value.mid(2).toUInt(&ok, 16)
                                                                                : value.toUInt(&ok, 10);
    if (!ok || id > 0xFFFF) bad(text, QStringLiteral("the %1 id must be 0..0xFFFF").arg(what));
    return static_cast<quint16>(id);
}

// "USB<n>::<vendor>::<product>::<serial>[::<interface>]::INSTR".
ResourceAddress parseUsb(const QString& text, const QString& trimmed) {
    static const QRegularExpression form(
        QStringLiteral("^USB(\\d*)::([^:\\s]+)::([^:\\s]+)::([^:\\s]+)(?:::(\\d+))?::INSTR$"),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = form.match(trimmed);
    if (!match.hasMatch())
        bad(text,
            QStringLiteral("a USB address is USB<n>::<vendor>::<product>::<serial>[::<interface>]::INSTR"));
    ResourceAddress address;
    address.kind = ResourceAddress::Usb;
    address.usbBoard = boardNumber(text, match.captured(1));
    address.usbVendor = usbId(text, QStringLiteral("vendor"), match.captured(2));
    address.usbProduct = usbId(text, QStringLiteral("product"), match.captured(3));
    address.usbSerial = match.captured(4);
    if (match.capturedStart(5) >= 0) {
        if (match.captured(5).size() > 3 || match.captured(5).toInt() > 255)
            bad(text, QStringLiteral("the USB interface number is 0..255"));
        address.usbInterface = match.captured(5).toInt();
    }
    return address;
}

} // namespace

ResourceAddress ResourceAddress::parse(const QString& text) {
    const QString trimmed = text.trimmed();
    const QString upper = trimmed.toUpper();
    ResourceAddress address;

    if (upper.startsWith(QStringLiteral("GPIB"))) {
        static const QRegularExpression form(QStringLiteral("^GPIB(\\d{0,2})::(\\d+)(::INSTR)?$"));
        const QRegularExpressionMatch match = form.match(upper);
        if (!match.hasMatch()) {
            if (upper.endsWith(QStringLiteral("::INTFC")))
                throw IOError(IOError::Unsupported,
                              QStringLiteral("\"%1\": GPIB interface resources are not supported").arg(text));
            bad(text, QStringLiteral("a GPIB address is GPIB<board>::<primary address>::INSTR"));
        }
        address.kind = Gpib;
        address.board = match.captured(1).isEmpty() ? 0 : match.captured(1).toInt();
        address.primary = match.captured(2).toInt();
        if (match.captured(2).size() > 2 || address.primary > 30)
            bad(text, QStringLiteral("the primary address must be 0..30"));
        return address;
    }

    if (upper.startsWith(QStringLiteral("COM"))) {
        QString compact = trimmed;
        compact.remove(QLatin1Char(' '));
        static const QRegularExpression form(QStringLiteral("^COM(\\d+)(?:::(.*))?$"),
                                             QRegularExpression::CaseInsensitiveOption);
        const QRegularExpressionMatch match = form.match(compact);
        if (!match.hasMatch())
            bad(text, QStringLiteral("a serial address is COM<n> or COM<n>::Baud=..,Handshake=.."));
        address.kind = Com;
        address.comPort = match.captured(1).toInt();
        if (address.comPort < 1 || match.captured(1).size() > 3)
            bad(text, QStringLiteral("COM ports are numbered from 1"));
        if (match.capturedStart(2) >= 0) {
            if (match.captured(2).isEmpty()) bad(text, QStringLiteral("keywords must follow \"::\""));
            parseSerialKeywords(text, match.captured(2), address.serial);
        }
        return address;
    }

    if (upper.startsWith(QStringLiteral("TCPIP"))) return parseLan(text, trimmed);
    if (upper.startsWith(QStringLiteral("USB"))) return parseUsb(text, trimmed);

    if (trimmed.isEmpty()) bad(text, QStringLiteral("the address is empty"));
    bad(text, QStringLiteral("it must begin with GPIB, COM or TCPIP"));
}

QString ResourceAddress::resourceName() const {
    switch (kind) {
    case Gpib:
        return QStringLiteral("GPIB%1::%2::INSTR").arg(board).arg(primary);
    case Com:
        return QStringLiteral("COM%1").arg(comPort);
    case TcpSocket:
        return QStringLiteral("TCPIP%1::%2::%3::SOCKET").arg(lanBoard).arg(host).arg(tcpPort);
    case Vxi11:
        return QStringLiteral("TCPIP%1::%2::%3::INSTR").arg(lanBoard).arg(host, device);
    case Hislip:
        if (tcpPort == kHislipDefaultPort)
            return QStringLiteral("TCPIP%1::%2::%3::INSTR").arg(lanBoard).arg(host, device);
        return QStringLiteral("TCPIP%1::%2::%3,%4::INSTR").arg(lanBoard).arg(host, device).arg(tcpPort);
    case Usb: {
        const QString ids = QStringLiteral("0x%1::0x%2")
                                .arg(usbVendor, 4, 16, QLatin1Char('0'))
                                .arg(usbProduct, 4, 16, QLatin1Char('0'))
                                .toUpper()
                                .replace(QStringLiteral("0X"), QStringLiteral("0x"));
        const QString iface = usbInterface < 0 ? QString() : QStringLiteral("::%1").arg(usbInterface);
        return QStringLiteral("USB%1::%2::%3%4::INSTR").arg(usbBoard).arg(ids, usbSerial, iface);
    }
    }
    return {};
}

QString ResourceAddress::portName() const {
    switch (kind) {
    case Gpib:
        return QStringLiteral("GPIB%1").arg(board);
    case Com:
        return QStringLiteral("COM%1").arg(comPort);
    case TcpSocket:
    case Vxi11:
    case Hislip:
        return QStringLiteral("TCPIP%1").arg(lanBoard);
    case Usb:
        return QStringLiteral("USB%1").arg(usbBoard);
    }
    return {};
}

} // namespace CorvaneIOUtilsLib

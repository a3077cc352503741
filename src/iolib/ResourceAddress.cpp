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

    if (upper.startsWith(QStringLiteral("TCPIP"))) {
        static const QRegularExpression form(QStringLiteral("^TCPIP(\\d*)::([^:\\s]+)::(\\d+)::SOCKET$"),
                                             QRegularExpression::CaseInsensitiveOption);
        const QRegularExpressionMatch match = form.match(trimmed);
        if (!match.hasMatch())
            throw IOError(IOError::Unsupported,
                          QStringLiteral("\"%1\": this TCPIP address form is not supported yet "
                                         "(only TCPIP<n>::<host>::<port>::SOCKET)")
                              .arg(text));
        const int port = match.captured(3).toInt();
        if (port < 1 || port > 65535 || match.captured(3).size() > 5)
            bad(text, QStringLiteral("the TCP port must be 1..65535"));
        address.kind = TcpSocket;
        address.lanBoard = match.captured(1).isEmpty() ? 0 : match.captured(1).toInt();
        address.host = match.captured(2);
        address.tcpPort = static_cast<quint16>(port);
        return address;
    }

    if (upper.startsWith(QStringLiteral("USB")))
        throw IOError(IOError::Unsupported,
                      QStringLiteral("\"%1\": USB instruments are not supported yet").arg(text));

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
        return QStringLiteral("TCPIP%1").arg(lanBoard);
    }
    return {};
}

} // namespace CorvaneIOUtilsLib

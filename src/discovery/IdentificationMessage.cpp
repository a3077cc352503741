#include "discovery/IdentificationMessage.h"

#include "base/Diagnostics.h"
#include "base/Localization.h"
#include "discovery/IdentificationResult.h"

namespace {

const QString kLineBreak = QStringLiteral("\r\n");
const QString kParagraph = kLineBreak + kLineBreak;
const QString kIndent = QStringLiteral("    ");
const QString kSeparator = QStringLiteral("::");

QString Text(int baseId) {
    return Localized(baseId);
}
QString Indented(int baseId) {
    return kIndent + Text(baseId);
}

// The reply block closes every message of a code where something answered.
QString WithReply(const QString& lead, const QString& address, const QString& reply, bool isGPIB) {
    return AppendAddressAt(lead + Text(227) + kParagraph + kIndent + reply, address, isGPIB);
}

QString NotFoundMessage(const QString& address, bool isGPIB) {
    QString text = AppendAddressAt(Text(530), address, isGPIB) + kParagraph + kLineBreak + Text(531) +
                   kLineBreak + Text(532);
    if (!isGPIB) text += kLineBreak + Text(533);
    text += kLineBreak;
    const int first = isGPIB ? 538 : 535;
    for (int id = first; id < first + 3; ++id)
        text += kLineBreak + Text(id);
    return text;
}

} // namespace

QString AppendAddressAt(const QString& text, const QString& address, bool isGPIB) {
    QString shown = address;
    if (!isGPIB) {
        const qsizetype separator = address.indexOf(kSeparator);
        if (separator >= 0) shown = address.left(separator);
    }
    return text + kParagraph + Text(228) + kParagraph + kIndent + shown;
}

QString HandshakeCaution() {
    if (StringOffset() != 0)
        return Indented(711) + kParagraph + Indented(712) + kParagraph + Indented(713) + kParagraph;
    return Indented(282) + kParagraph + Indented(283) + kLineBreak + Indented(284) + kLineBreak +
           Indented(285) + kLineBreak + Indented(286) + kParagraph + Indented(287) + kLineBreak +
           Indented(288) + kParagraph;
}

QString IdentificationMessage(qint16 code, const QString& address, const QString& reply, bool isGPIB,
                              bool handshakeCaution) {
    namespace R = IdentificationResult;
    switch (code) {
    case R::Supported:
        return WithReply(Text(226) + kParagraph + (handshakeCaution ? HandshakeCaution() : QString()),
                         address, reply, isGPIB);
    case R::UnsupportedTavrel:
        return WithReply(Text(225), address, reply, isGPIB);
    case R::NotTavrel:
        return WithReply(Text(223) + kLineBreak + Text(224), address, reply, isGPIB);
    case R::NotIEEE488:
        return WithReply(Text(222) + kLineBreak + Text(224), address, reply, isGPIB);
    case R::NotFound:
        return NotFoundMessage(address, isGPIB);
    case R::PortNotFound:
        return AppendAddressAt(Text(221), address, isGPIB);
    default:
        ReportAssertion(false, QStringLiteral("false"), QStringLiteral("CQueryInstrument"),
                        QStringLiteral("Test"), QStringLiteral("Case Else"));
        throw IdentificationQueryError(address, isGPIB);
    }
}

TavrelError IdentificationQueryError(const QString& address, bool isGPIB) {
    return TavrelError(ErrorNumber::InvalidPropertyValue, Text(104),
                       AppendAddressAt(Text(isGPIB ? 110 : 109), address, isGPIB), kComponentHelpFile);
}

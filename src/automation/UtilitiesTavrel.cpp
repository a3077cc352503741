#include "automation/UtilitiesTavrel.h"

#include "automation/ScopeTavrel.h"
#include "automation/ServerError.h"
#include "iolib/IOSession.h"

namespace BrumelTB {

QVariant UtilitiesTavrel::ReadStateData() {
    return m_scope.Call("UtilitiesTavrel", "ReadStateData", [&]() -> QVariant {
        auto& io = m_scope.IO();
        io.WriteString(QStringLiteral(":SYSTem:SETup?\n"));
        const CorvaneIOUtilsLib::ReadLimitScope limit(io, kMaxLearnStringBytes);
        return io.ReadIEEEBlockAsReceived();
    });
}

void UtilitiesTavrel::WriteStateData(const QVariant& learnString) {
    return m_scope.Call("UtilitiesTavrel", "WriteStateData", [&]() -> void {
        const QByteArray block = learnString.toByteArray();
        if (!learnString.isValid() || block.isEmpty())
            throw ServerError(QStringLiteral("there is no setup data to send to the instrument"));
        if (!block.startsWith('#'))
            throw ServerError(QStringLiteral("the setup data is not an instrument setup block"));
        auto& io = m_scope.IO();
        io.WriteBytes(QByteArrayLiteral(":SYSTem:SETup ") + block + '\n');
        m_scope.CheckInstrumentErrors();
    });
}

QString UtilitiesTavrel::InstrumentModel() {
    return m_scope.Call("UtilitiesTavrel", "InstrumentModel", [&]() -> QString { return identityField(1); });
}

QString UtilitiesTavrel::InstrumentFirmwareVersion() {
    return m_scope.Call("UtilitiesTavrel", "InstrumentFirmwareVersion",
                        [&]() -> QString { return identityField(3); });
}

void UtilitiesTavrel::ClearStatus() {
    return m_scope.Call("UtilitiesTavrel", "ClearStatus",
                        [&]() -> void { m_scope.IO().WriteString(QStringLiteral("*CLS\n")); });
}

void UtilitiesTavrel::WaitForOperationComplete() {
    return m_scope.Call("UtilitiesTavrel", "WaitForOperationComplete",
                        [&]() -> void { m_scope.QueryText(QStringLiteral("*OPC?")); });
}

QStringList UtilitiesTavrel::ReadErrors() {
    return m_scope.Call("UtilitiesTavrel", "ReadErrors", [&]() -> QStringList {
        // The queue holds a bounded number of entries; the limit only guards against an instrument that
        // never says it is empty.
        constexpr int kMaxEntries = 100;
        QStringList errors;
        for (int i = 0; i < kMaxEntries; ++i) {
            const QString entry = m_scope.QueryText(QStringLiteral(":SYSTem:ERRor?"));
            if (entry.section(QLatin1Char(','), 0, 0).trimmed().toInt() == 0) break;
            errors << entry;
        }
        return errors;
    });
}

QByteArray UtilitiesTavrel::ScreenImageData(const QString& format) {
    return m_scope.Call("UtilitiesTavrel", "ScreenImageData", [&]() -> QByteArray {
        auto& io = m_scope.IO();
        io.WriteString(QStringLiteral(":DISPlay:DATA? %1\n").arg(format));
        const QByteArray image = [&] {
            const CorvaneIOUtilsLib::ReadLimitScope limit(io, kMaxScreenImageBytes);
            return io.ReadIEEEBlock();
        }();
        if (image.isEmpty()) {
            m_scope.CheckInstrumentErrors();
            throw ServerError(QStringLiteral("the instrument sent an empty screen image"));
        }
        return image;
    });
}

QString UtilitiesTavrel::identityField(int index) {
    const QStringList fields = m_scope.Identify().split(QLatin1Char(','));
    if (fields.size() <= index)
        throw ServerError(QStringLiteral("the instrument's identity \"%1\" has no field %2")
                              .arg(fields.join(QLatin1Char(',')))
                              .arg(index + 1));
    return fields.at(index).trimmed();
}

} // namespace BrumelTB

#include "automation/TraceTavrel.h"

#include "automation/ScopeTavrel.h"
#include "automation/ScpiMnemonics.h"
#include "automation/WaveformPreamble.h"
#include "iolib/IOSession.h"

namespace BrumelTB {

namespace {
const QString kTrace = QStringLiteral(":TRACe%1:%2");
const QString kStore = QStringLiteral("STORe");
const QString kDisplay = QStringLiteral("DISPlay");
const QString kClear = QStringLiteral("CLEar");
// Stored data comes in the waveform subsystem's format, so that is set with the preamble query.
const QString kSelectFormat = QStringLiteral(":WAVeform:FORMat WORD;BYTeorder LSBFirst;");
} // namespace

QString TraceTavrel::header(qint32 memory, const QString& node) const {
    if (memory < 1 || memory > MemoryCount)
        throw ServerError(QStringLiteral("there is no trace memory %1 (memories are 1 to %2)")
                              .arg(memory)
                              .arg(MemoryCount));
    return kTrace.arg(memory).arg(node);
}

void TraceTavrel::Store(qint32 memory, Tavrel_AnalogChannels channel) {
    return m_scope.Call("TraceTavrel", "Store", [&]() -> void {
        m_scope.Execute(header(memory, kStore) + QLatin1Char(' ') +
                        WaveformTavrel::SourceTable().Mnemonic(channel));
    });
}

Tavrel_OnOffState TraceTavrel::Display(qint32 memory) {
    return m_scope.Call("TraceTavrel", "Display", [&]() -> Tavrel_OnOffState {
        return OnOffTable().FromReply(m_scope.QueryText(header(memory, kDisplay) + QLatin1Char('?')));
    });
}

void TraceTavrel::SetDisplay(qint32 memory, Tavrel_OnOffState state) {
    return m_scope.Call("TraceTavrel", "SetDisplay", [&]() -> void {
        m_scope.Execute(header(memory, kDisplay) + QLatin1Char(' ') + OnOffTable().Mnemonic(state));
    });
}

void TraceTavrel::Clear(qint32 memory) {
    return m_scope.Call("TraceTavrel", "Clear", [&]() -> void { m_scope.Execute(header(memory, kClear)); });
}

void TraceTavrel::GetData(qint32 memory, QVector<double>& time, QVector<double>& data) {
    return m_scope.Call("TraceTavrel", "GetData", [&]() -> void {
        const WaveformPreamble preamble = WaveformPreamble::Parse(
            m_scope.QueryText(kSelectFormat + header(memory, QStringLiteral("PREamble?"))));
        auto& io = m_scope.IO();
        io.WriteString(header(memory, QStringLiteral("DATA?\n")));
        // The block holds what the preamble announced, at most eight bytes a point.
        const QByteArray block = [&] {
            const CorvaneIOUtilsLib::ReadLimitScope limit(io, std::max<qint64>(preamble.points, 1) * 8);
            return io.ReadIEEEBlock();
        }();
        if (block.isEmpty() && preamble.points > 0) m_scope.CheckInstrumentErrors();
        ConvertWaveform(preamble, block, true, time, data);
    });
}

} // namespace BrumelTB

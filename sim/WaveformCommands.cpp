#include "sim/ScopeCommands.h"
#include "sim/ScpiValues.h"
#include "sim/TavrelScope.h"
#include "sim/WaveformEncoder.h"

#include <cmath>

namespace tavrelsim {
namespace {

using Form = ScpiCommandTable::Form;

// The record of the waveform source, empty when nothing has been acquired.
WaveformRecord sourceRecord(TavrelScope& scope, bool consume) {
    const auto acquisition = scope.acquisition().latest(scope.state(), consume);
    return acquisition ? acquisition->record(scope.state().waveform.source) : WaveformRecord{};
}

// The same samples, described the same way: the same block.
bool sameRecord(const WaveformRecord& a, const WaveformRecord& b) {
    return a.samples == b.samples && a.kind == b.kind && a.type == b.type && a.xIncrement == b.xIncrement &&
           a.xOrigin == b.xOrigin && a.scale == b.scale && a.offset == b.offset;
}

} // namespace

void addWaveformCommands(ScpiCommandTable& t) {
    using namespace ScopeSource;
    addSourceSetting(
        t, ":WAVeform:SOURce", [](ScopeState& s, int) -> int& { return s.waveform.source; },
        Channels | Pods | LogicWord);
    addChoiceSetting(t, ":WAVeform:FORMat", 1, [](ScopeState& s, int) -> int& { return s.waveform.format; },
                     {"BYTE", "WORD", "ASCii"});
    addChoiceSetting(t, ":WAVeform:BYTeorder", 1,
                     [](ScopeState& s, int) -> int& { return s.waveform.byteOrder; },
                     {"LSBFirst", "MSBFirst"});
    // MAXimum is kept as such: the whole record, whatever its length will be.
    t.add(":WAVeform:POINts", Form::SetAndQuery, [](TavrelScope& scope, const ScpiCall& call) {
        if (!scope.expectArgs(call, call.query ? 0 : 1)) return;
        WaveformState& w = scope.state().waveform;
        if (call.query) {
            const qsizetype record = scope.acquisition().recordLength(scope.state());
            scope.reply(QByteArray::number(WaveformEncoder::pointsFor(record, w.points)));
            return;
        }
        const ScpiArg& arg = call.args.first();
        if (arg.type == ScpiArg::Token && ScpiValues::matchesMnemonic(arg.text, "MAXimum")) {
            w.points = WaveformState::MaximumPoints;
            return;
        }
        double v = 0;
        if (const int e =
                ScpiValues::toReal(arg, ScopeState::MinRecordPoints, ScopeState::MaxRecordPoints, v))
            scope.fail(e);
        else
            w.points = int(std::lround(v));
    });
    t.add(":WAVeform:PREamble", Form::Query, [](TavrelScope& scope, const ScpiCall& call) {
        if (!scope.expectArgs(call, 0)) return;
        const WaveformRecord record = sourceRecord(scope, false);
        scope.reply(WaveformEncoder(record, scope.state().waveform).preamble());
    });
    t.add(":WAVeform:DATA", Form::Query, [](TavrelScope& scope, const ScpiCall& call) {
        if (!scope.expectArgs(call, 0)) return;
        const WaveformRecord record = sourceRecord(scope, true);
        if (record.isEmpty()) scope.fail(ScpiError::DataStale);
        TavrelScope::WaveformBlock& last = scope.lastWaveformBlock();
        const WaveformState& settings = scope.state().waveform;
        if (!sameRecord(last.record, record) || !(last.settings == settings))
            last = {record, settings, WaveformEncoder(record, settings).block()};
        scope.replyBlockUnit(last.block);
    });
}

} // namespace tavrelsim

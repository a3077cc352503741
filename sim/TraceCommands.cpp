#include "sim/ScopeCommands.h"
#include "sim/TavrelScope.h"
#include "sim/WaveformEncoder.h"

namespace tavrelsim {

// Trace memories hold a channel's record as it was acquired and are read through the waveform
// subsystem's FORMat, BYTeorder and POINts. An empty memory gives no points.
void addTraceCommands(ScpiCommandTable& t) {
    using Form = ScpiCommandTable::Form;
    constexpr int n = ScopeState::TraceCount;
    t.add(
        ":TRACe#:STORe", Form::Set,
        [](TavrelScope& scope, const ScpiCall& call) {
            int source = 0;
            if (!scope.expectArgs(call, 1)) return;
            if (const int e = ScopeSource::parse(call.args.first(), ScopeSource::Channels, source)) {
                scope.fail(e);
                return;
            }
            const auto acquisition = scope.acquisition().latest(scope.state(), true);
            if (!acquisition) {
                scope.fail(ScpiError::DataStale);
                return;
            }
            scope.traces()[size_t(call.suffix() - 1)] = acquisition->record(source);
        },
        n);
    addBoolSetting(t, ":TRACe#:DISPlay", n,
                   [](ScopeState& s, int i) -> bool& { return s.traceDisplay[size_t(i - 1)]; });
    t.add(
        ":TRACe#:CLEar", Form::Set,
        [](TavrelScope& scope, const ScpiCall& call) {
            if (scope.expectArgs(call, 0)) scope.traces()[size_t(call.suffix() - 1)] = {};
        },
        n);
    t.add(
        ":TRACe#:DATA", Form::Query,
        [](TavrelScope& scope, const ScpiCall& call) {
            if (!scope.expectArgs(call, 0)) return;
            const WaveformRecord& record = scope.traces()[size_t(call.suffix() - 1)];
            scope.replyBlockUnit(WaveformEncoder(record, scope.state().waveform).block());
        },
        n);
    t.add(
        ":TRACe#:PREamble", Form::Query,
        [](TavrelScope& scope, const ScpiCall& call) {
            if (!scope.expectArgs(call, 0)) return;
            const WaveformRecord& record = scope.traces()[size_t(call.suffix() - 1)];
            scope.reply(WaveformEncoder(record, scope.state().waveform).preamble());
        },
        n);
}

} // namespace tavrelsim

#include "sim/ScopeCommands.h"
#include "sim/ScpiValues.h"
#include "sim/TavrelScope.h"
#include "sim/WaveformMeasure.h"

namespace tavrelsim {
namespace {

constexpr double NotMeasurable = 9.9e37;

struct Row {
    const char* header;
    WaveformMeasure::Quantity quantity;
};

constexpr Row Rows[] = {
    {":MEASure:FREQuency", WaveformMeasure::Frequency},
    {":MEASure:PERiod", WaveformMeasure::Period},
    {":MEASure:VPP", WaveformMeasure::Vpp},
    {":MEASure:VAMPlitude", WaveformMeasure::Amplitude},
    {":MEASure:VMAX", WaveformMeasure::Vmax},
    {":MEASure:VMIN", WaveformMeasure::Vmin},
    {":MEASure:VTOP", WaveformMeasure::Vtop},
    {":MEASure:VBASe", WaveformMeasure::Vbase},
    {":MEASure:VRMS", WaveformMeasure::Vrms},
    {":MEASure:VAVerage", WaveformMeasure::Vaverage},
    {":MEASure:RISetime", WaveformMeasure::RiseTime},
    {":MEASure:FALLtime", WaveformMeasure::FallTime},
    {":MEASure:DUTYcycle", WaveformMeasure::DutyCycle},
};

} // namespace

void addMeasureCommands(ScpiCommandTable& t) {
    addSourceSetting(
        t, ":MEASure:SOURce", [](ScopeState& s, int) -> int& { return s.measureSource; },
        ScopeSource::Channels);
    for (const Row& row : Rows) {
        const WaveformMeasure::Quantity quantity = row.quantity;
        t.add(row.header, ScpiCommandTable::Query, [quantity](TavrelScope& scope, const ScpiCall& call) {
            if (call.args.size() > 1) {
                scope.fail(ScpiError::ParameterNotAllowed);
                return;
            }
            int source = scope.state().measureSource;
            if (!call.args.isEmpty()) {
                if (const int e = ScopeSource::parse(call.args.first(), ScopeSource::Channels, source)) {
                    scope.fail(e);
                    return;
                }
            }
            std::optional<double> value;
            if (const auto acquisition = scope.acquisition().latest(scope.state(), true))
                value = acquisition->measure(source, quantity);
            scope.reply(ScpiValues::formatReal(value.value_or(NotMeasurable)));
        });
    }
}

} // namespace tavrelsim

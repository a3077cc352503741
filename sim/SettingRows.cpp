#include "sim/ScopeCommands.h"
#include "sim/ScpiValues.h"
#include "sim/TavrelScope.h"

#include <cmath>

namespace tavrelsim {
namespace {

using Form = ScpiCommandTable::Form;

// A setting's row: the query answers format(value); a set parses one parameter with parse, which
// returns 0 or the SCPI error.
template <typename T>
void addSetting(ScpiCommandTable& table, const char* header, int suffixMax,
                std::function<T&(ScopeState&, int)> ref, std::function<QByteArray(T)> format,
                std::function<int(const ScpiArg&, T&)> parse) {
    table.add(
        header, Form::SetAndQuery,
        [=](TavrelScope& scope, const ScpiCall& call) {
            if (call.query) {
                if (scope.expectArgs(call, 0)) scope.reply(format(ref(scope.state(), call.suffix())));
                return;
            }
            T v{};
            if (!scope.expectArgs(call, 1)) return;
            if (const int e = parse(call.args.first(), v))
                scope.fail(e);
            else
                ref(scope.state(), call.suffix()) = v;
        },
        suffixMax);
}

} // namespace

void addRealSetting(ScpiCommandTable& table, const char* header, int suffixMax, RealRef ref, double min,
                    double max, QList<double> allowed) {
    addSetting<double>(
        table, header, suffixMax, ref, [](double v) { return ScpiValues::formatReal(v); },
        [=](const ScpiArg& arg, double& v) {
            if (const int e = ScpiValues::toReal(arg, min, max, v)) return e;
            if (!allowed.isEmpty() && !allowed.contains(v)) return int(ScpiError::IllegalParameterValue);
            return 0;
        });
}

void addIntSetting(ScpiCommandTable& table, const char* header, int suffixMax, IntRef ref, int min, int max,
                   QList<int> allowed) {
    addSetting<int>(
        table, header, suffixMax, ref, [](int v) { return QByteArray::number(v); },
        [=](const ScpiArg& arg, int& v) {
            double real = 0;
            if (const int e = ScpiValues::toReal(arg, min, max, real)) return e;
            v = int(std::lround(real));
            if (!allowed.isEmpty() && !allowed.contains(v)) return int(ScpiError::IllegalParameterValue);
            return 0;
        });
}

void addBoolSetting(ScpiCommandTable& table, const char* header, int suffixMax, BoolRef ref) {
    addSetting<bool>(
        table, header, suffixMax, ref, [](bool v) { return QByteArray(v ? "1" : "0"); },
        [](const ScpiArg& arg, bool& v) { return ScpiValues::toBool(arg, v); });
}

void addChoiceSetting(ScpiCommandTable& table, const char* header, int suffixMax, ChoiceRef ref,
                      QList<QByteArray> choices) {
    addSetting<int>(
        table, header, suffixMax, ref, [=](int v) { return ScpiValues::shortForm(choices.value(v)); },
        [=](const ScpiArg& arg, int& v) { return ScpiValues::toChoice(arg, choices, v); });
}

void addSourceSetting(ScpiCommandTable& table, const char* header, ChoiceRef ref, int kinds) {
    addSetting<int>(
        table, header, 1, ref, [](int v) { return ScopeSource::name(v); },
        [=](const ScpiArg& arg, int& v) { return ScopeSource::parse(arg, kinds, v); });
}

void addQuery(ScpiCommandTable& t, const char* header, std::function<QByteArray(TavrelScope&)> answer) {
    t.add(header, Form::Query, [answer](TavrelScope& scope, const ScpiCall& call) {
        if (scope.expectArgs(call, 0)) scope.reply(answer(scope));
    });
}

void addAction(ScpiCommandTable& t, const char* header, std::function<void(TavrelScope&)> action) {
    t.add(header, Form::Set, [action](TavrelScope& scope, const ScpiCall& call) {
        if (scope.expectArgs(call, 0)) action(scope);
    });
}

} // namespace tavrelsim

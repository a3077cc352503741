#include "sim/ScopeCommands.h"
#include "sim/ScpiValues.h"
#include "sim/TavrelScope.h"

namespace tavrelsim {

void addRealSetting(ScpiCommandTable& table, const char* header, int suffixMax, RealRef ref, double min,
                    double max) {
    table.add(
        header, ScpiCommandTable::SetAndQuery,
        [=](TavrelScope& scope, const ScpiCall& call) {
            if (call.query) {
                if (scope.expectArgs(call, 0))
                    scope.reply(ScpiValues::formatReal(ref(scope.state(), call.suffix())));
                return;
            }
            double v = 0;
            if (!scope.expectArgs(call, 1)) return;
            if (const int e = ScpiValues::toReal(call.args.first(), min, max, v))
                scope.fail(e);
            else
                ref(scope.state(), call.suffix()) = v;
        },
        suffixMax);
}

void addBoolSetting(ScpiCommandTable& table, const char* header, int suffixMax, BoolRef ref) {
    table.add(
        header, ScpiCommandTable::SetAndQuery,
        [=](TavrelScope& scope, const ScpiCall& call) {
            if (call.query) {
                if (scope.expectArgs(call, 0)) scope.reply(ref(scope.state(), call.suffix()) ? "1" : "0");
                return;
            }
            bool v = false;
            if (!scope.expectArgs(call, 1)) return;
            if (const int e = ScpiValues::toBool(call.args.first(), v))
                scope.fail(e);
            else
                ref(scope.state(), call.suffix()) = v;
        },
        suffixMax);
}

void addChoiceSetting(ScpiCommandTable& table, const char* header, int suffixMax, ChoiceRef ref,
                      QList<QByteArray> choices) {
    table.add(
        header, ScpiCommandTable::SetAndQuery,
        [=](TavrelScope& scope, const ScpiCall& call) {
            if (call.query) {
                if (scope.expectArgs(call, 0))
                    scope.reply(ScpiValues::shortForm(choices.value(ref(scope.state(), call.suffix()))));
                return;
            }
            int v = 0;
            if (!scope.expectArgs(call, 1)) return;
            if (const int e = ScpiValues::toChoice(call.args.first(), choices, v))
                scope.fail(e);
            else
                ref(scope.state(), call.suffix()) = v;
        },
        suffixMax);
}

} // namespace tavrelsim

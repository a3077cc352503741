#include "sim/ScopeCommands.h"
#include "sim/ScpiValues.h"
#include "sim/TavrelScope.h"

#include <cmath>

namespace tavrelsim {
namespace {

using Form = ScpiCommandTable::Form;

// An 8-bit enable register (*ESE, *SRE).
void addRegister(ScpiCommandTable& t, const char* header, int ScpiStatus::*reg) {
    t.add(header, Form::SetAndQuery, [reg](TavrelScope& scope, const ScpiCall& call) {
        if (call.query) {
            if (scope.expectArgs(call, 0)) scope.reply(QByteArray::number(scope.status().*reg));
            return;
        }
        double v = 0;
        if (!scope.expectArgs(call, 1)) return;
        if (const int e = ScpiValues::toReal(call.args.first(), 0, 255, v))
            scope.fail(e);
        else
            scope.status().*reg = int(std::lround(v));
    });
}

} // namespace

void addCommonCommands(ScpiCommandTable& t) {
    addQuery(t, "*IDN", [](TavrelScope& s) { return s.idn(); });
    addAction(t, "*RST", [](TavrelScope& s) { s.reset(); });
    addAction(t, "*CLS", [](TavrelScope& s) { s.status().clear(); });
    addAction(t, "*OPC", [](TavrelScope& s) { s.status().setOperationComplete(); });
    addQuery(t, "*OPC", [](TavrelScope&) { return QByteArray("1"); });
    addAction(t, "*WAI", [](TavrelScope&) {});
    addQuery(t, "*TST", [](TavrelScope&) { return QByteArray("0"); });
    addQuery(t, "*ESR", [](TavrelScope& s) { return QByteArray::number(s.status().takeEsr()); });
    addQuery(t, "*STB",
             [](TavrelScope& s) { return QByteArray::number(s.status().statusByte(s.messageAvailable())); });
    addRegister(t, "*ESE", &ScpiStatus::ese);
    addRegister(t, "*SRE", &ScpiStatus::sre);
}

} // namespace tavrelsim

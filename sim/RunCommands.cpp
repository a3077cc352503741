#include "sim/AutoScale.h"
#include "sim/ScopeCommands.h"
#include "sim/TavrelScope.h"

namespace tavrelsim {

// The front panel's run control. Every channel and pod is acquired each time, so :DIGitize's
// sources only have to be valid ones.
void addRunCommands(ScpiCommandTable& t) {
    using Form = ScpiCommandTable::Form;
    addAction(t, ":RUN", [](TavrelScope& s) { s.acquisition().run(); });
    addAction(t, ":STOP", [](TavrelScope& s) {
        if (s.acquisition().running()) s.acquisition().stopAfterOne(s.state());
    });
    addAction(t, ":SINGle", [](TavrelScope& s) { s.acquisition().stopAfterOne(s.state()); });
    t.add(":DIGitize", Form::Set, [](TavrelScope& scope, const ScpiCall& call) {
        using namespace ScopeSource;
        for (const ScpiArg& arg : call.args) {
            int source = 0;
            if (const int e = parse(arg, Channels | Pods | LogicWord, source)) {
                scope.fail(e);
                return;
            }
        }
        scope.acquisition().stopAfterOne(scope.state());
    });
    addAction(t, ":AUToscale", [](TavrelScope& s) {
        AutoScale::apply(s.state());
        s.acquisition().run();
    });
    const auto runState = [](TavrelScope& s) {
        return QByteArray(s.acquisition().running() ? "RUN" : "STOP");
    };
    addQuery(t, ":RSTate", runState);
    addQuery(t, ":OPERegister:CONDition", runState);
}

} // namespace tavrelsim

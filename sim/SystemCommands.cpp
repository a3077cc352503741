#include "sim/LearnString.h"
#include "sim/ScopeCommands.h"
#include "sim/TavrelScope.h"

namespace tavrelsim {

void addSystemCommands(ScpiCommandTable& t) {
    using Form = ScpiCommandTable::Form;
    t.add(":SYSTem:ERRor[:NEXT]", Form::Query, [](TavrelScope& scope, const ScpiCall& call) {
        if (scope.expectArgs(call, 0)) scope.reply(scope.status().takeError());
    });
    t.add(":SYSTem:VERSion", Form::Query, [](TavrelScope& scope, const ScpiCall& call) {
        if (scope.expectArgs(call, 0)) scope.reply("1999.0");
    });
    // The learn string. A refused block leaves the state exactly as it was.
    t.add(":SYSTem:SETup", Form::SetAndQuery, [](TavrelScope& scope, const ScpiCall& call) {
        if (!scope.expectArgs(call, call.query ? 0 : 1)) return;
        if (call.query) {
            scope.replyBlock(scope.learnString());
            return;
        }
        if (call.args.first().type != ScpiArg::Block) {
            scope.fail(ScpiError::DataTypeError);
            return;
        }
        ScopeState restored;
        if (const int e = LearnString::decode(call.args.first().text, scope.identity().model, restored))
            scope.fail(e);
        else
            scope.state() = restored;
    });
}

} // namespace tavrelsim

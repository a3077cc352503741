#include "sim/ScopeCommands.h"
#include "sim/ScpiValues.h"
#include "sim/ScreenImage.h"
#include "sim/TavrelScope.h"

namespace tavrelsim {

void addDisplayCommands(ScpiCommandTable& t) {
    t.add(":DISPlay:DATA", ScpiCommandTable::Query, [](TavrelScope& scope, const ScpiCall& call) {
        if (call.args.size() > 1) {
            scope.fail(ScpiError::ParameterNotAllowed);
            return;
        }
        int format = 0;
        if (!call.args.isEmpty()) {
            if (const int e = ScpiValues::toChoice(call.args.first(), {"PNG", "BMP"}, format)) {
                scope.fail(e);
                return;
            }
        }
        const auto acquisition = scope.acquisition().latest(scope.state(), true);
        const QImage image = ScreenImage::render(scope.state(), acquisition.get(), scope.traces());
        scope.replyBlock(ScreenImage::encode(image, format == 0 ? "PNG" : "BMP"));
    });
}

} // namespace tavrelsim

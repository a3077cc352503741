#include "sim/NoCommaDevice.h"

namespace tavrelsim {

SimResponse NoCommaDevice::execute(const QByteArray& message, bool) {
    SimResponse r;
    if (message.trimmed().toUpper() == "*IDN?") r.bytes = m_reply + '\n';
    return r;
}

} // namespace tavrelsim

#pragma once

#include "sim/SimDevice.h"

namespace tavrelsim {

// Something that listens and never talks: a device that is listed but dead, or an empty port.
class SilentDevice : public SimDevice {
public:
    SimResponse execute(const QByteArray&, bool) override { return {}; }
};

} // namespace tavrelsim

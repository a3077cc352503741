#pragma once

#include "automation/AnalogChannelTavrel.h"

#include <array>
#include <memory>

namespace BrumelTB {

// The scope's four analog channels as a collection.
class AnalogChannelsTavrel {
public:
    explicit AnalogChannelsTavrel(ScopeTavrel& scope);
    ~AnalogChannelsTavrel();

    // ServerError for a value outside Tavrel_AnalogChannels.
    AnalogChannelTavrel& Item(Tavrel_AnalogChannels channel);
    qint32 Count() const { return static_cast<qint32>(m_channels.size()); }

private:
    ScopeTavrel& m_scope;
    std::array<std::unique_ptr<AnalogChannelTavrel>, 4> m_channels;
};

} // namespace BrumelTB

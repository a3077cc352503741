#include "automation/AnalogChannelsTavrel.h"

#include "automation/ScopeTavrel.h"

namespace BrumelTB {

AnalogChannelsTavrel::AnalogChannelsTavrel(ScopeTavrel& scope) : m_scope(scope) {
    for (size_t i = 0; i < m_channels.size(); ++i)
        m_channels[i] =
            std::make_unique<AnalogChannelTavrel>(scope, static_cast<Tavrel_AnalogChannels>(i + 1));
}

AnalogChannelsTavrel::~AnalogChannelsTavrel() = default;

AnalogChannelTavrel& AnalogChannelsTavrel::Item(Tavrel_AnalogChannels channel) {
    return m_scope.Call("AnalogChannelsTavrel", "Item", [&]() -> AnalogChannelTavrel& {
        const int index = static_cast<int>(channel) - 1;
        if (index < 0 || index >= Count())
            throw ServerError(
                QStringLiteral("%1 is not a value of Tavrel_AnalogChannels").arg(static_cast<int>(channel)));
        return *m_channels[static_cast<size_t>(index)];
    });
}

} // namespace BrumelTB

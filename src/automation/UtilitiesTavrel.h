#pragma once

#include <QString>
#include <QVariant>

namespace BrumelTB {

class ScopeTavrel;

// Common instrument utilities: the learn string (the instrument's whole front-panel state) and the
// instrument's model and firmware version.
class UtilitiesTavrel {
public:
    explicit UtilitiesTavrel(ScopeTavrel& scope) : m_scope(scope) {}

    // The ":SYSTem:SETup?" reply block exactly as received, header included, as a byte array.
    QVariant ReadStateData();
    // Sends those bytes back after ":SYSTem:SETup "; the instrument's error queue must stay empty.
    void WriteStateData(const QVariant& learnString);
    // The model and firmware fields of the instrument's "*IDN?" reply.
    QString InstrumentModel();
    QString InstrumentFirmwareVersion();

private:
    QString identityField(int index);

    ScopeTavrel& m_scope;
};

} // namespace BrumelTB

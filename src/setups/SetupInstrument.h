#pragma once

#include <QString>
#include <QVariant>

// What a setup needs of the instrument, and all it may reach of it: the learn string, the model and
// the firmware version. The control's session implements it; each call reaches the instrument anew.
class SetupInstrument {
public:
    virtual ~SetupInstrument() = default;

    virtual QVariant ReadLearnString() = 0;
    virtual void WriteLearnString(const QVariant& learnString) = 0;
    virtual QString InstrumentModel() = 0;
    virtual QString InstrumentFirmwareVersion() = 0;
};

#pragma once

#include "ScopeFrame.h"

#include <QWidget>

class QCheckBox;
class QComboBox;
class EngineeringSpinBox;
class ScaleCombo;

// The scope's front panel in the view: each channel's on/off, scale, offset and coupling; the
// timebase's scale and position; the trigger's source, level and slope; the logic pod. A change is
// asked of the scope at once; what the scope then reports is shown again (it may round a value).
class ControlPanel : public QWidget {
    Q_OBJECT
public:
    explicit ControlPanel(QWidget* parent = nullptr);

    // Shows the scope's settings without asking for any change.
    void showSettings(const ScopeSettings& settings);

signals:
    void channelChanged(int channel, ChannelSettings settings);
    void timebaseChanged(double scale, double position);
    void triggerChanged(Tavrel_TriggerSource source, double level, Tavrel_TriggerSlope slope);
    void podChanged(bool on);
    void recordLengthChanged(RecordLength length);

private:
    void emitChannel(int index);
    void emitTimebase();
    void emitTrigger();

    struct ChannelRow {
        QCheckBox* on;
        ScaleCombo* scale;
        EngineeringSpinBox* offset;
        QComboBox* coupling;
    };
    ChannelRow m_channels[4];
    ScaleCombo* m_timeScale;
    EngineeringSpinBox* m_timePosition;
    QComboBox* m_triggerSource;
    EngineeringSpinBox* m_triggerLevel;
    QComboBox* m_triggerSlope;
    QCheckBox* m_pod;
    QComboBox* m_record;
    bool m_showing = false;
};

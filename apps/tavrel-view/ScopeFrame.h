#pragma once

#include "automation/CEnums.h"

#include <QList>
#include <QMetaType>
#include <QString>
#include <QVector>

// What the view shows of the scope: its settings, and one acquisition's records and measurements.

struct ChannelSettings {
    bool on = false;
    double scale = 1;  // V/div
    double offset = 0; // V at the screen's center
    Tavrel_ProbeCoupling coupling = Tavrel_ProbeCoupling_DC;
};

struct ScopeSettings {
    ChannelSettings channels[4];
    double timeScale = 1e-3; // s/div
    double timePosition = 0; // s from the trigger to the screen's center
    Tavrel_TriggerSource triggerSource = Tavrel_TriggerSource_Channel1;
    double triggerLevel = 0; // V
    Tavrel_TriggerSlope triggerSlope = Tavrel_TriggerSlope_Positive;
    bool podOn = false; // the logic pod D0..D7
};

// A record of evenly spaced samples: sample i at first + i * increment.
struct ChannelTrace {
    int channel = 1;
    double first = 0;
    double increment = 0;
    QVector<double> volts;
};

struct LogicTrace {
    double first = 0;
    double increment = 0;
    QVector<quint16> words;
};

struct ChannelMeasurements {
    int channel = 1;
    double frequency = 0; // NaN when the scope could not measure it
    double vpp = 0;
    double average = 0;
    double rms = 0;
};

struct ScopeFrame {
    qint64 sequence = 0;
    ScopeSettings settings;
    QList<ChannelTrace> traces;
    LogicTrace logic;
    QList<ChannelMeasurements> measurements;
};

// How many points the view asks for: the scope's screen (2,000) or its whole record.
enum class RecordLength { Screen, Full };

Q_DECLARE_METATYPE(ScopeSettings)
Q_DECLARE_METATYPE(ScopeFrame)

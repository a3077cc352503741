#pragma once

#include "sim/ScopeState.h"
#include "sim/TriggerFinder.h"
#include "sim/WaveformMeasure.h"
#include "sim/WaveformRecord.h"

#include <QList>
#include <array>
#include <map>
#include <memory>
#include <optional>

namespace tavrelsim {

// One acquisition as the scope took it: the settings it was taken with and where each of its
// shots triggered (averaging takes several). Records are made the first time they are asked
// for, from those alone, so a channel nobody reads costs nothing.
class Acquisition {
public:
    struct Shot {
        TriggerFinder::Arm arm;
        TriggerFinder::Event trigger;
    };

    // Arms and triggers as the settings say; sequence numbers the shots (their time and noise).
    // nullptr when the trigger mode is NORMal and a shot finds no trigger.
    static std::shared_ptr<Acquisition> take(const ScopeState& settings, quint64& sequence);

    const ScopeState& settings() const { return m_settings; }
    qsizetype points() const { return m_points; }
    bool triggered() const { return m_triggered; }
    // source: a channel, POD1, POD2 or LOGic.
    WaveformRecord record(int source);
    // A :MEASure quantity of a channel's record. The scope measures an acquisition once: the record's
    // levels and each quantity are found the first time they are asked for and kept with it.
    std::optional<double> measure(int source, WaveformMeasure::Quantity quantity);

private:
    Acquisition(const ScopeState& settings, QList<Shot> shots);
    std::shared_ptr<const std::vector<quint16>> channelCodes(int channel);
    std::shared_ptr<const std::vector<quint16>> logicWords();
    // Code units relative to the centre line, summed over the shots.
    void accumulate(int channel, const InputSignals::Shaping& shaping, const Shot& shot, float* out);
    void peakDetect(int channel, const InputSignals::Shaping& shaping, const Shot& shot, float* out);

    ScopeState m_settings;
    QList<Shot> m_shots;
    qsizetype m_points = 0;
    double m_dt = 0;
    double m_xOrigin = 0;
    qint64 m_triggerIndex = 0; // the record index of the trigger, for index-based inputs
    bool m_triggered = true;
    std::array<std::shared_ptr<const std::vector<quint16>>, ScopeState::ChannelCount> m_channels;
    std::shared_ptr<const std::vector<quint16>> m_logic;
    struct Measured {
        explicit Measured(WaveformRecord r) : record(std::move(r)), measure(record) {}
        WaveformRecord record;
        WaveformMeasure measure; // refers to record
        std::map<int, std::optional<double>> values;
    };
    std::map<int, std::unique_ptr<Measured>> m_measured;
};

} // namespace tavrelsim

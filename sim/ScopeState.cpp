#include "sim/ScopeState.h"

#include "sim/StateCodec.h"

#include <QList>
#include <algorithm>
#include <cmath>

namespace tavrelsim {
namespace {

bool within(double v, double lo, double hi) {
    return std::isfinite(v) && v >= lo && v <= hi;
}

template <typename T, size_t N> bool listed(const std::array<T, N>& values, T v) {
    return std::find(values.begin(), values.end(), v) != values.end();
}

// One tagged section: how it is written and read back. read returns false for a value the
// instrument could not have had.
struct Section {
    const char* tag;
    bool required; // the first format's sections; later ones may be missing from an old string
    void (*write)(const ScopeState&, StateWriter&);
    bool (*read)(ScopeState&, StateReader&);
};

const Section Sections[] = {
    {"CHAN", true,
     [](const ScopeState& s, StateWriter& w) {
         w.u8(ScopeState::ChannelCount);
         for (const ChannelState& c : s.channels) {
             w.u8(c.display ? 1 : 0);
             w.real(c.scale);
             w.real(c.offset);
             w.u8(quint8(c.coupling));
         }
     },
     [](ScopeState& s, StateReader& r) {
         if (r.u8() != ScopeState::ChannelCount) return false;
         for (ChannelState& c : s.channels) {
             const quint8 display = r.u8();
             c.scale = r.real();
             c.offset = r.real();
             c.coupling = r.u8();
             c.display = display == 1;
             if (display > 1 || c.coupling > ChannelState::GND ||
                 !within(c.scale, ScopeState::MinChannelScale, ScopeState::MaxChannelScale) ||
                 !within(c.offset, -ScopeState::MaxChannelOffset, ScopeState::MaxChannelOffset))
                 return false;
         }
         return true;
     }},
    {"TIMB", true,
     [](const ScopeState& s, StateWriter& w) {
         w.real(s.timebase.scale);
         w.real(s.timebase.position);
     },
     [](ScopeState& s, StateReader& r) {
         s.timebase.scale = r.real();
         s.timebase.position = r.real();
         return within(s.timebase.scale, ScopeState::MinTimebaseScale, ScopeState::MaxTimebaseScale) &&
                within(s.timebase.position, -ScopeState::MaxTimebasePosition,
                       ScopeState::MaxTimebasePosition);
     }},
    {"DISP", true,
     [](const ScopeState& s, StateWriter& w) {
         for (quint8 v : s.intensityMap)
             w.u8(v);
     },
     [](ScopeState& s, StateReader& r) {
         for (quint8& v : s.intensityMap)
             v = r.u8();
         return true;
     }},
    {"PROB", false,
     [](const ScopeState& s, StateWriter& w) {
         for (const ChannelState& c : s.channels) {
             w.real(c.probe);
             w.u8(quint8(c.probeMode));
         }
     },
     [](ScopeState& s, StateReader& r) {
         for (ChannelState& c : s.channels) {
             c.probe = r.real();
             c.probeMode = r.u8();
             if (!listed(ScopeState::ProbeValues, c.probe) || c.probeMode > ChannelState::ProbeManual)
                 return false;
         }
         return true;
     }},
    {"TBMR", false,
     [](const ScopeState& s, StateWriter& w) {
         w.u8(quint8(s.timebase.mode));
         w.u8(quint8(s.timebase.reference));
     },
     [](ScopeState& s, StateReader& r) {
         s.timebase.mode = r.u8();
         s.timebase.reference = r.u8();
         return s.timebase.mode <= TimebaseState::XY && s.timebase.reference <= TimebaseState::Right;
     }},
    {"ACQU", false,
     [](const ScopeState& s, StateWriter& w) {
         w.u8(quint8(s.acquire.type));
         w.u32(quint32(s.acquire.count));
         w.u32(quint32(s.acquire.points));
     },
     [](ScopeState& s, StateReader& r) {
         s.acquire.type = r.u8();
         s.acquire.count = int(r.u32());
         s.acquire.points = int(r.u32());
         return s.acquire.type <= AcquireState::Auto && listed(ScopeState::CountValues, s.acquire.count) &&
                s.acquire.points >= ScopeState::MinRecordPoints &&
                s.acquire.points <= ScopeState::MaxRecordPoints;
     }},
    {"TRIG", false,
     [](const ScopeState& s, StateWriter& w) {
         w.u8(quint8(s.trigger.mode));
         w.u8(quint8(s.trigger.source));
         w.real(s.trigger.level);
         w.u8(quint8(s.trigger.slope));
         w.u8(quint8(s.trigger.coupling));
     },
     [](ScopeState& s, StateReader& r) {
         TriggerState& t = s.trigger;
         t.mode = r.u8();
         t.source = r.u8();
         t.level = r.real();
         t.slope = r.u8();
         t.coupling = r.u8();
         using namespace ScopeSource;
         return t.mode <= TriggerState::AutoLevel && valid(t.source, Channels | ExternalAndLine | Bits) &&
                within(t.level, -ScopeState::MaxTriggerLevel, ScopeState::MaxTriggerLevel) &&
                t.slope <= TriggerState::Negative && t.coupling <= TriggerState::AC;
     }},
    {"MEAS", false, [](const ScopeState& s, StateWriter& w) { w.u8(quint8(s.measureSource)); },
     [](ScopeState& s, StateReader& r) {
         s.measureSource = r.u8();
         return ScopeSource::isChannel(s.measureSource);
     }},
    {"PODS", false,
     [](const ScopeState& s, StateWriter& w) {
         for (const PodState& p : s.pods) {
             w.u8(p.display ? 1 : 0);
             w.real(p.threshold);
         }
     },
     [](ScopeState& s, StateReader& r) {
         for (PodState& p : s.pods) {
             const quint8 display = r.u8();
             p.display = display == 1;
             p.threshold = r.real();
             if (display > 1 ||
                 !within(p.threshold, -ScopeState::MaxPodThreshold, ScopeState::MaxPodThreshold))
                 return false;
         }
         return true;
     }},
    {"WAVE", false,
     [](const ScopeState& s, StateWriter& w) {
         w.u8(quint8(s.waveform.source));
         w.u8(quint8(s.waveform.format));
         w.u8(quint8(s.waveform.byteOrder));
         w.u32(quint32(s.waveform.points));
     },
     [](ScopeState& s, StateReader& r) {
         WaveformState& wf = s.waveform;
         wf.source = r.u8();
         wf.format = r.u8();
         wf.byteOrder = r.u8();
         wf.points = int(r.u32());
         using namespace ScopeSource;
         return valid(wf.source, Channels | Pods | LogicWord) && wf.format <= WaveformState::Ascii &&
                wf.byteOrder <= WaveformState::MsbFirst &&
                (wf.points == WaveformState::MaximumPoints ||
                 (wf.points >= ScopeState::MinRecordPoints && wf.points <= ScopeState::MaxRecordPoints));
     }},
    {"TRAC", false,
     [](const ScopeState& s, StateWriter& w) {
         for (bool on : s.traceDisplay)
             w.u8(on ? 1 : 0);
     },
     [](ScopeState& s, StateReader& r) {
         for (bool& on : s.traceDisplay) {
             const quint8 v = r.u8();
             if (v > 1) return false;
             on = v == 1;
         }
         return true;
     }},
};

} // namespace

ScopeState ScopeState::defaults() {
    ScopeState s;
    s.channels[0].display = true;
    for (int i = 0; i < 256; ++i)
        s.intensityMap[i] = quint8(i);
    return s;
}

QByteArray ScopeState::serialize() const {
    StateWriter w;
    for (const Section& section : Sections) {
        StateWriter body;
        section.write(*this, body);
        w.bytes(QByteArray(section.tag, 4));
        w.u32(quint32(body.data().size()));
        w.bytes(body.data());
    }
    return w.data();
}

std::optional<ScopeState> ScopeState::deserialize(const QByteArray& data) {
    ScopeState s = defaults();
    StateReader r(data);
    QList<QByteArray> seen;
    while (r.ok() && !r.atEnd()) {
        const QByteArray tag = r.take(4);
        const quint32 length = r.u32();
        const QByteArray body = r.take(qsizetype(length));
        if (!r.ok() || seen.contains(tag)) return std::nullopt;
        seen.append(tag);
        const Section* section = std::find_if(std::begin(Sections), std::end(Sections),
                                              [&](const Section& x) { return tag == x.tag; });
        if (section == std::end(Sections)) return std::nullopt;
        StateReader b(body);
        if (!section->read(s, b) || !b.ok() || !b.atEnd()) return std::nullopt;
    }
    if (!r.ok()) return std::nullopt;
    for (const Section& section : Sections) {
        if (section.required && !seen.contains(section.tag)) return std::nullopt;
    }
    return s;
}

} // namespace tavrelsim

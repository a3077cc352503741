#pragma once

#include "sim/Acquisition.h"

#include <memory>

namespace tavrelsim {

// The run state and the acquisition the data queries read. A running scope acquires anew for
// each query that reads data; a stopped one keeps its last acquisition.
class AcquisitionControl {
public:
    bool running() const { return m_running; }
    void run() { m_running = true; }
    // The acquisition under way completes, then the scope stops (:STOP, :SINGle, :DIGitize).
    void stopAfterOne(const ScopeState& settings);
    void stop() { m_running = false; }
    // One acquisition now; false when the trigger mode is NORMal and nothing triggered, and the
    // previous acquisition stays.
    bool acquire(const ScopeState& settings);
    // What the data queries read. While running, a new acquisition replaces one whose data has
    // been read (consume) or whose settings are no longer those of the scope, so that a preamble
    // and the data read after it describe the same acquisition. May be null: nothing has been
    // acquired since the reset.
    std::shared_ptr<Acquisition> latest(const ScopeState& settings, bool consume);
    std::shared_ptr<Acquisition> current() const { return m_current; }
    // The record length DATA? would give now.
    qsizetype recordLength(const ScopeState& settings) const;
    // *RST: running, nothing acquired, the noise starting over.
    void reset();

private:
    bool m_running = true;
    quint64 m_sequence = 0;
    std::shared_ptr<Acquisition> m_current;
    bool m_consumed = false;
};

} // namespace tavrelsim

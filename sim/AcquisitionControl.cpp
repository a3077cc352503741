#include "sim/AcquisitionControl.h"

namespace tavrelsim {

bool AcquisitionControl::acquire(const ScopeState& settings) {
    std::shared_ptr<Acquisition> next = Acquisition::take(settings, m_sequence);
    if (!next) return false;
    m_current = std::move(next);
    m_consumed = false;
    return true;
}

void AcquisitionControl::stopAfterOne(const ScopeState& settings) {
    acquire(settings);
    m_running = false;
}

std::shared_ptr<Acquisition> AcquisitionControl::latest(const ScopeState& settings, bool consume) {
    if (m_running && (!m_current || m_consumed || !(m_current->settings() == settings))) acquire(settings);
    if (consume) m_consumed = true;
    return m_current;
}

qsizetype AcquisitionControl::recordLength(const ScopeState& settings) const {
    if (!m_running && m_current) return m_current->points();
    return settings.acquire.points;
}

void AcquisitionControl::reset() {
    m_running = true;
    m_sequence = 0;
    m_current.reset();
    m_consumed = false;
}

} // namespace tavrelsim

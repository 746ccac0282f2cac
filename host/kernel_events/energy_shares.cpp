#include "host/kernel_events/energy_shares.h"

namespace host::kernel_events {

void EnergyShares::give(std::size_t who, double energy, std::uint64_t time) {
    if (energy == 0 && time == 0) return;
    if (m_shares.size() <= who) m_shares.resize(who + 1);
    Share& share = m_shares[who];
    share.energy += energy;
    if (time == 0) return;
    if (share.time == 0) m_waiting.push_back(who);
    share.time += time;
}

void EnergyShares::end(std::uint64_t stamp, std::int64_t energy) {
    if (m_begin) {
        m_isMeasured = true;
        m_total += static_cast<double>(energy);
        for (const std::size_t who : m_waiting) {
            m_shares[who].energy += share(m_shares[who].time, stamp, energy);
            m_shares[who].time = 0;
        }
        m_waiting.clear();
    }
    m_begin = stamp;
}

}  // namespace host::kernel_events

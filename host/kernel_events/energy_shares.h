#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace host::kernel_events {

// Shares the energy of intervals among those who used CPUs in them, by their time. What an interval has used
// is known at its end: until then times are kept. Shares are those of one CPU; a machine with n CPUs has n
// times an interval's length to share.
class EnergyShares {
public:
    // How much of the time from `since` to `stamp` lies in the interval that has not ended.
    std::uint64_t open(std::uint64_t since, std::uint64_t stamp) const {
        if (!m_begin) return 0;
        const std::uint64_t from = std::max(since, *m_begin);
        return stamp > from ? stamp - from : 0;
    }

    // What `time` of this interval is worth if it ends at `stamp` and has used `energy`.
    double share(std::uint64_t time, std::uint64_t stamp, std::int64_t energy) const {
        return time > 0 ? static_cast<double>(energy) * static_cast<double>(time) / length_i(stamp) : 0.0;
    }

    // Gives a share of intervals that have ended, and time of the one that has not.
    void give(std::size_t who, double energy, std::uint64_t time);

    // Ends the interval, of which `energy` is known, and begins the next one. The first call only begins.
    void end(std::uint64_t stamp, std::int64_t energy);

    bool isMeasured() const { return m_isMeasured; }
    double of(std::size_t who) const { return who < m_shares.size() ? m_shares[who].energy : 0.0; }

    // Of all intervals, whoever used them.
    double total() const { return m_total; }

private:
    struct Share {
        double energy = 0;
        std::uint64_t time = 0;  // in the interval that has not ended
    };

    double length_i(std::uint64_t stamp) const { return static_cast<double>(stamp - *m_begin); }

    std::vector<Share> m_shares;
    std::vector<std::size_t> m_waiting;  // who has time in the interval
    std::optional<std::uint64_t> m_begin;
    double m_total = 0;
    bool m_isMeasured = false;
};

}  // namespace host::kernel_events

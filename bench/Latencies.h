#pragma once

#include <algorithm>
#include <ctime>
#include <iostream>
#include <vector>

// Round trips in nanoseconds, printed as "N P50 P99" in microseconds.
class Latencies final
{
public:
    static int64_t now()
    {
        timespec time{};
        clock_gettime(CLOCK_MONOTONIC, &time);
        return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
    }

    void reserve(int count) { m_values.reserve(static_cast<size_t>(count)); }
    void add(int64_t nanoseconds) { m_values.push_back(nanoseconds); }

    void print()
    {
        std::sort(m_values.begin(), m_values.end());
        std::cout << m_values.size() << ' ' << at(0.5) << ' ' << at(0.99) << std::endl;
    }

private:
    double at(double part) const
    {
        if (m_values.empty())
            return 0;
        const auto index = static_cast<size_t>(part * static_cast<double>(m_values.size()));
        return static_cast<double>(m_values[std::min(index, m_values.size() - 1)]) / 1000.0;
    }

    std::vector<int64_t> m_values;
};

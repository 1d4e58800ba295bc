#pragma once

// Times of the same work by the library and by a bare loop, one pair for each round.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <vector>

namespace bench {

class PairedTimes {
public:
    // One round; a caller changes the order from round to round.
    template <class Library, class Bare>
    void Measure(bool libraryFirst, Library library, Bare bare) {
        if (libraryFirst)
            m_Library.push_back(Milliseconds(library));
        m_Bare.push_back(Milliseconds(bare));
        if (!libraryFirst)
            m_Library.push_back(Milliseconds(library));
        m_Ratios.push_back(m_Library.back() / m_Bare.back());
    }

    // The line that report.py reads.
    void Print(const char* what, int files) const {
        std::printf(
            "%s files=%d library_ms=%.1f bare_ms=%.1f ratio=%.3f ratio_p25=%.3f "
            "ratio_p75=%.3f\n",
            what, files, Quantile(m_Library, 0.5), Quantile(m_Bare, 0.5),
            Quantile(m_Library, 0.5) / Quantile(m_Bare, 0.5), Quantile(m_Ratios, 0.25),
            Quantile(m_Ratios, 0.75));
    }

private:
    template <class Function>
    static double Milliseconds(Function function) {
        const auto begin = std::chrono::steady_clock::now();
        function();
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
            .count();
    }

    static double Quantile(std::vector<double> values, double quantile) {
        std::sort(values.begin(), values.end());
        return values[static_cast<std::size_t>(static_cast<double>(values.size() - 1) * quantile)];
    }

    std::vector<double> m_Library;
    std::vector<double> m_Bare;
    std::vector<double> m_Ratios;
};

}  // namespace bench

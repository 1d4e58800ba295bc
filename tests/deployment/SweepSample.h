#pragma once

// Which of very many positions a sweep takes.

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <random>
#include <vector>

namespace deploy_test {

inline bool IsFull() {
    return std::getenv("WYSDK_TEST_FULL") != nullptr;
}

// All from 0 to `count`, or a sample that is the same each time.
inline std::vector<std::size_t> Positions(std::size_t count, std::size_t sample, unsigned seed) {
    std::vector<std::size_t> positions(count);
    for (std::size_t i = 0; i < positions.size(); ++i)
        positions[i] = i;
    if (IsFull())
        return positions;
    std::mt19937 random(seed);
    std::shuffle(positions.begin(), positions.end(), random);
    positions.resize(std::min(sample, count));
    return positions;
}

}  // namespace deploy_test

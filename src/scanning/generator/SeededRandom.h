#pragma once

#include <QtGlobal>

namespace kestrava::shootgen {

// splitmix64: the same sequence for a seed on every platform and standard library, which the
// std:: distributions do not promise.
class SeededRandom {
public:
    explicit SeededRandom(quint64 seed) : state_(seed) {}

    quint64 next()
    {
        quint64 z = (state_ += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    // Uniform in [low, high], both inclusive.
    int between(int low, int high) { return low + int(next() % quint64(high - low + 1)); }
    // Uniform in [0, 1).
    double unit() { return double(next() >> 11) * (1.0 / 9007199254740992.0); }
    bool chance(double probability) { return unit() < probability; }
    template <class List>
    const auto& pick(const List& list) { return list[between(0, int(std::size(list)) - 1)]; }

private:
    quint64 state_;
};

} // namespace kestrava::shootgen

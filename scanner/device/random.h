// Reproducible random numbers that depend on a key and a counter alone.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

namespace device {

/// The finalizer of SplitMix64: a one-to-one map of 64-bit words that looks random.
inline std::uint64_t MixBits(std::uint64_t word)
{
    word = (word ^ (word >> 30)) * 0xbf58476d1ce4e5b9ULL;
    word = (word ^ (word >> 27)) * 0x94d049bb133111ebULL;
    return word ^ (word >> 31);
}

/// Numbers by position instead of by sequence: word n of key k is the same in whatever order the words are asked
/// for, so that threads share no state. Only integer and basic floating-point operations take part, which every
/// machine does alike.
class CounterRandom
{
public:
    explicit CounterRandom(std::uint64_t key) : m_key(MixBits(key + c_step)) {}

    std::uint64_t Word(std::uint64_t counter) const { return MixBits(m_key + (counter + 1) * c_step); }

    /// Uniform in [0, 1).
    double Uniform(std::uint64_t counter) const { return static_cast<double>(Word(counter) >> 11) * 0x1p-53; }

    /// Normally distributed to good approximation, mean 0, sigma 1: the number of ones in 64 random bits, which is
    /// binomial with variance 16, smoothed by a uniform number of variance 1/12. Excess kurtosis -0.03.
    double Normal(std::uint64_t counter) const
    {
        const double ones = std::popcount(Word(2 * counter));
        return (ones - 32.0 + Uniform(2 * counter + 1) - 0.5) / std::sqrt(16.0 + 1.0 / 12.0);
    }

private:
    static constexpr std::uint64_t c_step = 0x9e3779b97f4a7c15ULL;

    std::uint64_t m_key;
};

} // namespace device

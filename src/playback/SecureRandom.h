#pragma once

#include <QtGlobal>

#include <functional>

// Random numbers from the operating system's cryptographic generator (getrandom).
class SecureRandom {
public:
    // A uniformly distributed number in [0, bound); bound must be at least 1.
    static quint64 uniform(quint64 bound);

    // The bounded draw itself, over any source of uniform 64-bit words: a word from the biased
    // top of the range (where a plain modulo would favour small results) is drawn again.
    static quint64 uniform(quint64 bound, const std::function<quint64()>& nextWord);

    // One uniformly distributed 64-bit word.
    static quint64 word();
};

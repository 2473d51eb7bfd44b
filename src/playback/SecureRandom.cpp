#include "playback/SecureRandom.h"

#include <cerrno>
#include <cstdlib>

#include <sys/random.h>

quint64 SecureRandom::word() {
    quint64 value = 0;
    auto* bytes = reinterpret_cast<unsigned char*>(&value);
    size_t filled = 0;
    while (filled < sizeof value) {
        const ssize_t got = ::getrandom(bytes + filled, sizeof value - filled, 0);
        if (got > 0)
            filled += size_t(got);
        else if (got < 0 && errno != EINTR)
            std::abort(); // no entropy source at all: nothing sensible to fall back on
    }
    return value;
}

quint64 SecureRandom::uniform(quint64 bound) {
    return uniform(bound, &SecureRandom::word);
}

quint64 SecureRandom::uniform(quint64 bound, const std::function<quint64()>& nextWord) {
    if (bound <= 1)
        return 0;
    // 2^64 mod bound words at the top of the range would make the low results more likely.
    const quint64 excess = (quint64(0) - bound) % bound;
    const quint64 limit = quint64(0) - excess; // first rejected word (0 means none is)
    for (;;) {
        const quint64 value = nextWord();
        if (excess == 0 || value < limit)
            return value % bound;
    }
}

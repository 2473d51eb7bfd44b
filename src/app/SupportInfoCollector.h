#pragma once

#include <QString>

// Gathers what the support report shows from the running program: its screens, its controller,
// the playable types, and the user's store.
class SupportInfoCollector {
public:
    static QString report();
};

#include "system/GlobalShortcuts.h"

std::unique_ptr<GlobalShortcuts> GlobalShortcuts::createDefault() {
    return createX11();
}

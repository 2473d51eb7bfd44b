#pragma once

#include "core/Preferences.h"
#include "core/SettingsCatalogue.h"

// How the settings pages show and store the catalogue's keys.
namespace pagevalue {

// What a page shows: the page's default while the key is absent.
template <typename T> T read(const Preferences& preferences, const Settings::Key<T>& key) {
    if (preferences.typeForKey(key.key()) == Preferences::Type::Absent)
        return key.pageDefault;
    return key.read(preferences);
}

// Stores a value the user chose; true when something was written.
template <typename T> bool write(Preferences& preferences, const Settings::Key<T>& key, T value) {
    // An absent key is written even with the page's value: the program's own may differ.
    if (preferences.typeForKey(key.key()) != Preferences::Type::Absent &&
        key.read(preferences) == value)
        return false;
    key.write(preferences, value);
    return true;
}

} // namespace pagevalue

#pragma once

#include <QString>

#include <memory>

// Where DisplaySleepInhibitor takes and gives back its one inhibition of the display's sleep.
// The desktop's implementation is in displaysleep_dbus.cpp.
class DisplaySleepBackend {
public:
    DisplaySleepBackend() = default;
    virtual ~DisplaySleepBackend() = default;
    DisplaySleepBackend(const DisplaySleepBackend&) = delete;
    DisplaySleepBackend& operator=(const DisplaySleepBackend&) = delete;

    // The session bus's screen saver, else the desktop portal. Without a bus, or with neither
    // answering, it logs why and holds nothing.
    static std::unique_ptr<DisplaySleepBackend> createDBus();

    // Asks the desktop to keep the display awake; a refusal is logged.
    virtual void inhibit(const QString& reason) = 0;
    // Gives back what inhibit() was granted; nothing when it holds nothing.
    virtual void uninhibit() = 0;
};

#pragma once

#include <memory>

class DisplaySleepBackend;

// Keeps the display awake while the user asked for it and videos play. The controller says
// whenever that changes; the desktop is asked only when it does, so at most one inhibition is
// ever held, and it is given back as soon as it is no longer wanted.
class DisplaySleepInhibitor {
public:
    // On the desktop's buses.
    DisplaySleepInhibitor();
    explicit DisplaySleepInhibitor(std::unique_ptr<DisplaySleepBackend> backend);
    ~DisplaySleepInhibitor();
    DisplaySleepInhibitor(const DisplaySleepInhibitor&) = delete;
    DisplaySleepInhibitor& operator=(const DisplaySleepInhibitor&) = delete;

    // The process's inhibitor, created on first use and kept until the process ends.
    static DisplaySleepInhibitor& shared();

    // Whether the display is meant to stay awake (whether or not the desktop granted it).
    bool isInhibiting() const { return m_isInhibiting; }
    void setInhibiting(bool inhibiting);

private:
    std::unique_ptr<DisplaySleepBackend> m_backend;
    bool m_isInhibiting = false;
};

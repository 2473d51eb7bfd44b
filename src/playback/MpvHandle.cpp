#include "playback/MpvHandle.h"

#include <mpv/client.h>

#include <clocale>

MpvHandle::MpvHandle() {
    // mpv refuses to start unless numbers are parsed the C way; the application object has set
    // the user's locale.
    std::setlocale(LC_NUMERIC, "C");
    m_handle = mpv_create();
}

MpvHandle::~MpvHandle() {
    if (!m_handle)
        return;
    // Nothing is woken any more while the player shuts down.
    mpv_set_wakeup_callback(m_handle, nullptr, nullptr);
    mpv_terminate_destroy(m_handle);
}

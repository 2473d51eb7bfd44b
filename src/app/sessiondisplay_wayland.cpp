// The compositor's globals, read before Qt's Wayland platform is chosen.
#include "app/SessionDisplay.h"

#include <QByteArray>

#include <wayland-client.h>

namespace {

void noteGlobal(void* data, wl_registry*, uint32_t, const char* interface, uint32_t) {
    if (qstrcmp(interface, "zwlr_layer_shell_v1") == 0)
        *static_cast<bool*>(data) = true;
}

void ignoreGlobalRemove(void*, wl_registry*, uint32_t) {
}

const wl_registry_listener kRegistryListener = {noteGlobal, ignoreGlobalRemove};

} // namespace

bool SessionDisplay::compositorOffersLayerShell() {
    wl_display* display = wl_display_connect(nullptr);
    if (!display)
        return false;
    bool offered = false;
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &kRegistryListener, &offered);
    wl_display_roundtrip(display);
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    return offered;
}

#include "app/SessionDisplay.h"

#include <QtGlobal>

#include <xcb/xcb.h>

bool SessionDisplay::canReachXServer() {
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return false;
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    const bool reached = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return reached;
}

#include "app/Notifications.h"

Notifications& Notifications::instance() {
    static Notifications notifications;
    return notifications;
}

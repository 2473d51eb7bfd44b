#include "core/NotificationCenter.h"

NotificationCenter& NotificationCenter::instance() {
    static NotificationCenter notifications;
    return notifications;
}

#include "library/PlaylistSortOrder.h"

namespace PlaylistSortOrders {

std::optional<PlaylistSortOrder> fromValue(qint64 value) {
    if (value < 0 || value > 4)
        return std::nullopt;
    return PlaylistSortOrder(int(value));
}

QString label(PlaylistSortOrder order) {
    switch (order) {
    case PlaylistSortOrder::Manual:
        return QStringLiteral("Manual");
    case PlaylistSortOrder::Name:
        return QStringLiteral("Name");
    case PlaylistSortOrder::Duration:
        return QStringLiteral("Duration");
    case PlaylistSortOrder::DateAdded:
        return QStringLiteral("Date Added");
    case PlaylistSortOrder::Resolution:
        return QStringLiteral("Resolution");
    }
    return {};
}

QString symbol(PlaylistSortOrder order) {
    switch (order) {
    case PlaylistSortOrder::Manual:
        return QStringLiteral("hand.draw");
    case PlaylistSortOrder::Name:
        return QStringLiteral("textformat.abc");
    case PlaylistSortOrder::Duration:
        return QStringLiteral("clock");
    case PlaylistSortOrder::DateAdded:
        return QStringLiteral("calendar");
    case PlaylistSortOrder::Resolution:
        return QStringLiteral("rectangle.expand.vertical");
    }
    return {};
}

} // namespace PlaylistSortOrders

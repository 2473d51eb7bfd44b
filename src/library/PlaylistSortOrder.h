#pragma once

#include <QString>

#include <optional>

// How a named playlist orders its items. The values are stored as they are.
enum class PlaylistSortOrder : int {
    Manual = 0,
    Name = 1,
    Duration = 2,
    DateAdded = 3,
    Resolution = 4
};

namespace PlaylistSortOrders {
// Every order, in menu order.
inline constexpr PlaylistSortOrder all[] = {
    PlaylistSortOrder::Manual, PlaylistSortOrder::Name, PlaylistSortOrder::Duration,
    PlaylistSortOrder::DateAdded, PlaylistSortOrder::Resolution};
// The order of a stored value; none outside 0 to 4.
std::optional<PlaylistSortOrder> fromValue(qint64 value);
// "Manual", "Name", "Duration", "Date Added", "Resolution".
QString label(PlaylistSortOrder order);
// The menu symbol's name ("hand.draw", ...), mapped to an icon by the views.
QString symbol(PlaylistSortOrder order);
} // namespace PlaylistSortOrders

#pragma once

#include <QByteArray>
#include <QString>

namespace videofixture {

// A one-second clip encoded by ffmpeg into the given container ("mp4", "mpegts"); empty when
// ffmpeg is missing or fails.
QByteArray encodeClip(const QString& container);

} // namespace videofixture

#pragma once

#include <QLoggingCategory>

// Log categories of the program: progress is logged with qCInfo, failures with qCCritical.
Q_DECLARE_LOGGING_CATEGORY(lcPlayback)
Q_DECLARE_LOGGING_CATEGORY(lcFolders)
Q_DECLARE_LOGGING_CATEGORY(lcLaunch)
Q_DECLARE_LOGGING_CATEGORY(lcPreferences)
// Messages of the mpv players themselves, warnings and worse.
Q_DECLARE_LOGGING_CATEGORY(lcMpv)

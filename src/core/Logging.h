#pragma once

#include <QLoggingCategory>

// Log categories of the program: progress is logged with qCInfo, failures with qCCritical.
Q_DECLARE_LOGGING_CATEGORY(lcPlayback)
Q_DECLARE_LOGGING_CATEGORY(lcFolders)
Q_DECLARE_LOGGING_CATEGORY(lcLaunch)
Q_DECLARE_LOGGING_CATEGORY(lcPreferences)
// The update checker: its checks, and every release it refuses to offer.
Q_DECLARE_LOGGING_CATEGORY(lcUpdates)
// The program as a whole: its start, its session and its desktop.
Q_DECLARE_LOGGING_CATEGORY(lcApp)
// Messages of the mpv players themselves, warnings and worse.
Q_DECLARE_LOGGING_CATEGORY(lcMpv)

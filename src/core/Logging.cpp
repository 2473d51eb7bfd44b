#include "core/Logging.h"

Q_LOGGING_CATEGORY(lcPlayback, "com.orvanta.playback", QtInfoMsg)
Q_LOGGING_CATEGORY(lcFolders, "com.orvanta.folders", QtInfoMsg)
Q_LOGGING_CATEGORY(lcLaunch, "com.orvanta.launch", QtInfoMsg)
Q_LOGGING_CATEGORY(lcPreferences, "com.orvanta.preferences", QtInfoMsg)
Q_LOGGING_CATEGORY(lcUpdates, "com.orvanta.updates", QtInfoMsg)
Q_LOGGING_CATEGORY(lcApp, "com.orvanta.app", QtInfoMsg)
Q_LOGGING_CATEGORY(lcMpv, "com.orvanta.mpv", QtWarningMsg)

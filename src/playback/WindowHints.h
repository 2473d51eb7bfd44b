#pragma once

class QWindow;

// How the window manager is to treat one of the program's windows, told before it is shown.
class WindowHints {
public:
    enum class Role {
        // Below every other window, on every workspace, out of task bars and switchers.
        Desktop,
        // Above the others, on every workspace, out of task bars and switchers.
        FloatingPanel,
    };

    static void apply(QWindow* window, Role role);
    // Keeps an ordinary window out of task bars and pagers, or lets it back in; on a window
    // already shown, the window manager is asked to change it at once.
    static void setSkipTaskbar(QWindow* window, bool skip);
};

#!/usr/bin/python3
"""Drives a running program through its accessibility tree (AT-SPI), as a screen reader or a
person with a keyboard would reach it.

    atspi_drive.py APP COMMAND [NAME] [ROLE]

APP is the application's accessible name. NAME picks the first showing object with that exact
accessible name (and role, such as "push button" or "check box", when given). Commands:

    click      brings the object into view and clicks its middle with the pointer (xdotool)
    menu       the same with the right button, for the object's context menu
    focus      gives the object the keyboard focus
    exists     exits 0 when a showing object has that name
    names      prints the names of every showing object, one a line
    focused    prints the role and name of the control with the keyboard focus

Exits 1 when the application or the object is not found, and says which.
"""

import subprocess
import sys
import time

import pyatspi


def application(name):
    for app in pyatspi.Registry.getDesktop(0):
        if app is not None and app.name == name:
            return app
    return None


def showing(accessible):
    states = accessible.getState()
    return states.contains(pyatspi.STATE_SHOWING) and states.contains(pyatspi.STATE_VISIBLE)


def walk(accessible):
    """The showing objects under accessible, in tree order; a hidden object hides its children."""
    for index in range(accessible.childCount):
        child = accessible.getChildAtIndex(index)
        if child is None or not showing(child):
            continue
        yield child
        yield from walk(child)


def find(app, name, role):
    for accessible in walk(app):
        if accessible.name == name and (not role or accessible.getRoleName() == role):
            return accessible
    return None


def main(argv):
    if len(argv) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    app = application(argv[1])
    if app is None:
        print("no application named " + argv[1], file=sys.stderr)
        return 1
    command = argv[2]
    if command == "names":
        for accessible in walk(app):
            print(accessible.getRoleName() + ": " + accessible.name)
        return 0
    if command == "focused":
        # The innermost of the focused objects: the control inside the focused page.
        focused = [a for a in walk(app) if a.getState().contains(pyatspi.STATE_FOCUSED)]
        if focused:
            print(focused[-1].getRoleName() + ": " + focused[-1].name)
        return 0
    name = argv[3]
    role = argv[4] if len(argv) > 4 else None
    target = find(app, name, role)
    if target is None:
        print("nothing showing named " + repr(name) + (" (" + role + ")" if role else ""),
              file=sys.stderr)
        return 1
    if command == "exists":
        return 0
    if command in ("click", "menu"):
        # Focused first, as a keyboard would reach it: a page scrolls its focused control into view.
        component = target.queryComponent()
        if component.grabFocus():
            time.sleep(0.3)
        box = component.getExtents(pyatspi.DESKTOP_COORDS)
        subprocess.run(["xdotool", "mousemove", str(box.x + box.width // 2),
                        str(box.y + box.height // 2), "click", "1" if command == "click" else "3"],
                       check=True)
    elif command == "focus":
        target.queryComponent().grabFocus()
    else:
        print("unknown command " + command, file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))

#!/usr/bin/python3
"""What a screen reader learns of the application: told on standard output, a line of JSON for each event.

Turns accessibility on for the session, as a reader does when it starts. SIGUSR1 asks for the whole tree, SIGUSR2 for what
has the keyboard.
"""
import json
import signal

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, Gio, GLib  # noqa: E402

APPLICATION = "Pelgra"
EVENTS = ("object:state-changed:focused", "object:state-changed:showing", "object:property-change:accessible-name",
          "object:property-change:accessible-description")
STATES = {name: getattr(Atspi.StateType, name.upper()) for name in ("focusable", "focused", "showing", "enabled")}


def turn_on():
    status = Gio.DBusProxy.new_for_bus_sync(Gio.BusType.SESSION, Gio.DBusProxyFlags.NONE, None, "org.a11y.Bus",
                                            "/org/a11y/bus", "org.freedesktop.DBus.Properties", None)
    for name in ("IsEnabled", "ScreenReaderEnabled"):
        value = GLib.Variant("(ssv)", ("org.a11y.Status", name, GLib.Variant("b", True)))
        status.call_sync("Set", value, Gio.DBusCallFlags.NONE, -1, None)


def tell(**line):
    print(json.dumps(line), flush=True)


def is_ours(accessible):
    application = accessible.get_application()
    return application is not None and application.get_name() == APPLICATION


def labels(accessible):
    related = [relation for relation in accessible.get_relation_set()
               if relation.get_relation_type() == Atspi.RelationType.LABELLED_BY]
    return " ".join(relation.get_target(i).get_name() for relation in related for i in range(relation.get_n_targets()))


def described(accessible):
    states = accessible.get_state_set()
    return {"path": accessible.path, "role": accessible.get_role_name(), "name": accessible.get_name() or "",
            "description": accessible.get_description() or "", "label": labels(accessible),
            "states": [name for name, state in STATES.items() if states.contains(state)]}


def children(accessible):
    found = [accessible.get_child_at_index(i) for i in range(accessible.get_child_count())]
    return [child for child in found if child is not None]


def has_state(accessible, name):
    return accessible.get_state_set().contains(STATES[name])


def tree(accessible):
    below = children(accessible) if has_state(accessible, "showing") else []
    return described(accessible) | {"children": [tree(child) for child in below]}


def focused(accessible):
    """The innermost, since a group that hands the keyboard on to its members has it too."""
    if not has_state(accessible, "showing"):
        return None
    inner = next((found for found in map(focused, children(accessible)) if found), None)
    return inner or (described(accessible) if has_state(accessible, "focused") else None)


def windows():
    desktop = Atspi.get_desktop(0)
    desktop.clear_cache()
    return [window for application in children(desktop) if is_ours(application) for window in children(application)]


def tell_tree():
    try:
        tell(windows=[tree(window) for window in windows()])
    except GLib.Error as problem:  # something went while it was looked at; the next question finds it gone
        tell(windows=[], problem=str(problem))
    return True


def tell_focus():
    try:
        tell(focus={window.get_name(): focused(window) for window in windows()})
    except GLib.Error as problem:
        tell(focus={}, problem=str(problem))
    return True


def heard(event):
    try:
        if is_ours(event.source):
            tell(event=event.type, value=event.detail1, source=described(event.source))
    except GLib.Error:
        pass  # it has gone meanwhile


turn_on()
listener = Atspi.EventListener.new(heard)
for name in EVENTS:
    listener.register(name)
GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGUSR1, tell_tree)
GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGUSR2, tell_focus)
tell(ready=True)
GLib.MainLoop().run()

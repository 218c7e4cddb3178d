"""A GTK 4 window that drags what a file says. Usage: see common.py"""
import gi

gi.require_version("Gtk", "4.0")
gi.require_version("Gdk", "4.0")
from gi.repository import Gdk, GLib, Gtk  # noqa: E402

import common  # noqa: E402

options = common.options()
actions = 0
for name in options.actions.split(","):
    actions |= getattr(Gdk.DragAction, name.upper())


def ended(source, drag, delete_data):
    if delete_data:
        common.tell("delete")
    common.tell_end(drag.get_selected_action(), Gdk)


def show(application):
    window = Gtk.ApplicationWindow(application=application, title=options.title)
    window.set_default_size(200, 150)
    box = Gtk.Box()
    source = Gtk.DragSource(actions=Gdk.DragAction(actions))
    source.set_content(Gdk.ContentProvider.new_for_bytes(options.type, GLib.Bytes.new(common.content(options))))
    source.connect("drag-begin", lambda *_: common.tell("begin"))
    source.connect("drag-end", ended)
    box.add_controller(source)
    window.set_child(box)
    window.connect("map", lambda _: window.get_frame_clock().connect("after-paint", common.tell_shown))
    window.present()


application = Gtk.Application()
application.connect("activate", show)
application.run([])

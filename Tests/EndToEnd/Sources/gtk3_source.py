"""A GTK 3 window that drags what a file says. Usage: see common.py"""
import gi

gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, Gtk  # noqa: E402

import common  # noqa: E402

options = common.options()
content = common.content(options)
actions = 0
for name in options.actions.split(","):
    actions |= getattr(Gdk.DragAction, name.upper())


def give(widget, context, selection, info, time):
    common.be_slow(options)
    selection.set(Gdk.Atom.intern(options.type, False), 8, content)


window = Gtk.Window(title=options.title)
window.set_default_size(200, 150)
box = Gtk.EventBox()
window.add(box)
box.drag_source_set(Gdk.ModifierType.BUTTON1_MASK, [Gtk.TargetEntry.new(options.type, 0, 0)], Gdk.DragAction(actions))
box.connect("drag-data-get", give)
box.connect("drag-data-delete", lambda *_: common.tell("delete"))
box.connect("drag-begin", lambda *_: common.tell("begin"))
box.connect("drag-end", lambda widget, context: common.tell_end(context.get_selected_action(), Gdk))
window.connect("destroy", Gtk.main_quit)
window.move(40, 60)
window.show_all()
window.get_frame_clock().connect("after-paint", common.tell_shown)
Gtk.main()

"""The desktop's settings as its portal tells them (org.freedesktop.portal.Settings). Needs Debian's python3-gi.

Usage: settings_portal.py serve GROUP KEY VALUE   prints "ready", then "asked GROUP KEY" for each question
       settings_portal.py set GROUP KEY VALUE     changes the value of the one that serves
A value is written as GLib's text format has it: "uint32 1", "false", "'0'".
"""
import sys

from gi.repository import Gio, GLib

NAME, PATH, INTERFACE = "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop", "org.freedesktop.portal.Settings"
DESCRIPTION = Gio.DBusNodeInfo.new_for_xml(f"""<node>
  <interface name="{INTERFACE}">
    <method name="Read"><arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="out"/></method>
    <signal name="SettingChanged"><arg type="s"/><arg type="s"/><arg type="v"/></signal>
  </interface>
  <interface name="org.pelgra.Test"><method name="Set"><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="v" direction="in"/></method></interface>
</node>""")


class Portal:
    def __init__(self, bus, settings):
        self.settings = settings
        for interface in DESCRIPTION.interfaces:
            bus.register_object(PATH, interface, self.called, None, None)
        Gio.bus_own_name_on_connection(bus, NAME, Gio.BusNameOwnerFlags.NONE, lambda *_: print("ready", flush=True), None)

    def called(self, bus, sender, path, interface, method, arguments, call):
        place = tuple(arguments.get_child_value(i).get_string() for i in range(2))
        if method == "Set":
            self.settings[place] = arguments.get_child_value(2).get_variant()
            call.return_value(None)
            bus.emit_signal(None, PATH, INTERFACE, "SettingChanged", arguments)
            return
        print("asked", *place, flush=True)
        if place in self.settings:  # the older question's answer is wrapped twice
            call.return_value(GLib.Variant("(v)", (GLib.Variant("v", self.settings[place]),)))
        else:
            call.return_dbus_error("org.freedesktop.portal.Error.NotFound", "Requested setting not found")


def main():
    command, group, key, value = sys.argv[1:]
    bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
    setting = GLib.Variant.parse(None, value, None, None)
    if command == "serve":
        portal = Portal(bus, {(group, key): setting})  # noqa: F841
        GLib.MainLoop().run()
    bus.call_sync(NAME, PATH, "org.pelgra.Test", "Set", GLib.Variant("(ssv)", (group, key, setting)), None,
                  Gio.DBusCallFlags.NONE, 5000, None)


if __name__ == "__main__":
    main()

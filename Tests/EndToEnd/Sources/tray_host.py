"""A tray without a picture: the watcher that programs register their icons with (StatusNotifierItem of freedesktop.org),
and the commands that such a tray sends. Needs Debian's python3-gi.

Usage: tray_host.py watch                 prints "ready", "registered SERVICE SECONDS" (monotonic clock), "gone SERVICE"
       tray_host.py item SERVICE          prints the item's properties as JSON
       tray_host.py menu SERVICE          opens the item's menu and prints its lines as JSON
       tray_host.py choose SERVICE LABEL  clicks a line of the menu
       tray_host.py activate SERVICE      clicks the item itself
"""
import json
import sys
import time

from gi.repository import Gio, GLib

WATCHER = "org.kde.StatusNotifierWatcher"
ITEM, ITEM_PATH = "org.kde.StatusNotifierItem", "/StatusNotifierItem"
MENU = "com.canonical.dbusmenu"
DESCRIPTION = Gio.DBusNodeInfo.new_for_xml(f"""<node><interface name="{WATCHER}">
  <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
  <method name="RegisterStatusNotifierHost"><arg type="s" direction="in"/></method>
  <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
  <property name="ProtocolVersion" type="i" access="read"/>
  <signal name="StatusNotifierItemRegistered"><arg type="s"/></signal>
  <signal name="StatusNotifierHostRegistered"/>
</interface></node>""")


def tell(*words):
    print(*words, flush=True)


class Watcher:
    def __init__(self, bus):
        self.bus = bus
        self.items = []
        bus.register_object("/StatusNotifierWatcher", DESCRIPTION.interfaces[0], self.called, self.asked, None)
        Gio.bus_own_name_on_connection(bus, WATCHER, Gio.BusNameOwnerFlags.NONE, lambda *_: tell("ready"), None)

    def called(self, bus, sender, path, interface, method, arguments, call):
        now = time.monotonic()
        call.return_value(None)
        if method != "RegisterStatusNotifierItem":
            return
        name = arguments.unpack()[0]
        service = sender if name.startswith("/") else name
        self.items.append(service)
        tell("registered", service, f"{now:.6f}")
        bus.emit_signal(None, path, WATCHER, "StatusNotifierItemRegistered", GLib.Variant("(s)", (service,)))
        Gio.bus_watch_name_on_connection(bus, service, Gio.BusNameWatcherFlags.NONE, None, self.gone)

    def gone(self, bus, service):
        if service in self.items:
            self.items.remove(service)
            tell("gone", service)

    def asked(self, bus, sender, path, interface, name):
        return {"RegisteredStatusNotifierItems": GLib.Variant("as", self.items), "ProtocolVersion": GLib.Variant("i", 0),
                "IsStatusNotifierHostRegistered": GLib.Variant("b", True)}[name]


class Item:
    def __init__(self, bus, service):
        self.bus = bus
        self.service = service

    def call(self, path, interface, method, arguments=None):
        return self.bus.call_sync(self.service, path, interface, method, arguments, None, Gio.DBusCallFlags.NONE, 5000,
                                  None).unpack()

    def properties(self):
        return self.call(ITEM_PATH, "org.freedesktop.DBus.Properties", "GetAll", GLib.Variant("(s)", (ITEM,)))[0]

    def menu(self):
        """The lines of the menu as it is just before it shows: (identifier, properties)."""
        path = self.properties()["Menu"]
        self.call(path, MENU, "AboutToShow", GLib.Variant("(i)", (0,)))
        _, (_, _, lines) = self.call(path, MENU, "GetLayout", GLib.Variant("(iias)", (0, -1, [])))
        return path, [(number, properties) for number, properties, _ in lines]

    def choose(self, label):
        path, lines = self.menu()
        number = next(number for number, properties in lines if properties.get("label") == label)
        self.call(path, MENU, "Event", GLib.Variant("(isvu)", (number, "clicked", GLib.Variant("i", 0), 0)))


def main():
    bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
    if sys.argv[1] == "watch":
        watcher = Watcher(bus)  # lives as long as the loop
        GLib.MainLoop().run()
        return watcher
    item = Item(bus, sys.argv[2])
    if sys.argv[1] == "item":
        told = item.properties()
        print(json.dumps({"pictures": [size[:2] for size in told.pop("IconPixmap", [])]}
                         | {key: value for key, value in told.items() if isinstance(value, (str, bool, int))}))
    elif sys.argv[1] == "menu":
        print(json.dumps([properties for _, properties in item.menu()[1]]))
    elif sys.argv[1] == "activate":
        item.call(ITEM_PATH, ITEM, "Activate", GLib.Variant("(ii)", (0, 0)))
    else:
        item.choose(sys.argv[3])
    return None


if __name__ == "__main__":
    main()

"""Stands for KDE's launcher: takes Super alone as its global shortcut and prints "ready", then "opened" each time. Needs
Debian's python3-gi."""
from gi.repository import Gio, GLib

SERVICE, PATH, INTERFACE = "org.kde.kglobalaccel", "/kglobalaccel", "org.kde.KGlobalAccel"
ACTION = ["launcher", "open", "Launcher", "Open"]
SUPER_ALONE = 0x10000000  # Qt::META without a key
AT_ONCE = 2  # whatever was stored before


def main():
    bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)

    def call(method, *arguments):
        bus.call_sync(SERVICE, PATH, INTERFACE, method, *arguments, None, Gio.DBusCallFlags.NONE, 5000, None)

    bus.signal_subscribe(None, "org.kde.kglobalaccel.Component", "globalShortcutPressed", None, None,
                         Gio.DBusSignalFlags.NONE, lambda *_: print("opened", flush=True))
    call("doRegister", GLib.Variant("(as)", (ACTION,)))
    call("setShortcut", GLib.Variant("(asaiu)", (ACTION, [SUPER_ALONE], AT_ONCE)))
    print("ready", flush=True)
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()

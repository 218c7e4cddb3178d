#!/usr/bin/env python3
"""Checks the entries for file managers, whose formats have no validators of their own. Usage: check-entries.py DATA-FOLDER

KDE's service menus, Nemo's actions and freedesktop.org's actions are key files; Nautilus and Caja load an extension in Python, which is run here
against stand-ins for both.
"""
import configparser
import pathlib
import sys
import types

KINDS = {"convert": "Convert with Pelgra", "tools": "PDF tools with Pelgra"}
FILES = {"/a/photo.JPG": True, "/a/b c.pdf": True, "/a/drawing.svg": True, "/a/notes.txt": False}
problems = []


def expect(found, wanted, what):
    if found != wanted:
        problems.append(f"{what}: {found!r} where {wanted!r} should be")


def key_file(path):
    content = configparser.ConfigParser(interpolation=None, delimiters="=", strict=True)
    content.optionxform = str
    content.read_string(path.read_text(encoding="utf8"))
    return content


def command(kind):
    return f"pelgra-desktop wheel --kind {kind} -- %F"


def check_service_menu(path, types):
    menu = key_file(path)
    main = menu["Desktop Entry"]
    expect((main["Type"], main["MimeType"]), ("Service", types), path.name)
    actions = [name for name in main["Actions"].split(";") if name]
    expect(set(menu.sections()), {"Desktop Entry"} | {f"Desktop Action {name}" for name in actions}, f"{path.name} groups")
    for kind, label in KINDS.items():
        action = menu[f"Desktop Action {kind}"]
        expect((action["Name"], action["Exec"]), (label, command(kind)), f"{path.name} {kind}")


def check_action(path, kind, label, types):
    """Desktop Entry Specification Extension for Menus and Actions of freedesktop.org."""
    action = key_file(path)
    main = action["Desktop Entry"]
    expect((main["Type"], main["Name"], main["Profiles"]), ("Action", label, "files;"), path.name)
    profile = action["X-Action-Profile files"]
    expect((profile["MimeTypes"], profile["Exec"]), (types, command(kind)), path.name)


def check_nemo(folder):
    for kind, label in KINDS.items():
        action = key_file(folder / f"pelgra-{kind}.nemo_action")["Nemo Action"]
        expect((action["Name"], action["Exec"]), (label, command(kind)), f"Nemo {kind}")
        expect((action["Selection"], action["Dependencies"]), ("notnone", "pelgra-desktop;"), f"Nemo {kind}")


class File:
    def __init__(self, path):
        self.path = path

    def get_location(self):
        return self

    def get_path(self):
        return self.path


class MenuItem:
    def __init__(self, name, label, icon):
        self.label = label

    def connect(self, signal, called, *data):
        expect(signal, "activate", "the menu's signal")
        self.activate = lambda: called(self, *data)


def check_extension(path, manager, window):
    """The extension as the named file manager sees it; older ones pass a window before the files."""
    repository = types.ModuleType("gi.repository")
    repository.GObject = types.SimpleNamespace(GObject=type("GObject", (), {}))
    setattr(repository, manager, types.SimpleNamespace(MenuProvider=type("MenuProvider", (), {}), MenuItem=MenuItem))
    for other in {"Nautilus", "Caja"} - {manager}:  # installed as well, but not the one that asks
        setattr(repository, other, types.SimpleNamespace(MenuProvider=None, MenuItem=None))
    sys.modules |= {"gi": types.ModuleType("gi"), "gi.repository": repository}
    started = []
    extension = types.ModuleType("extension")
    extension.__file__ = f"/usr/share/{manager.lower()}-python/extensions/{path.name}"
    exec(compile(path.read_text(encoding="utf8"), path.name, "exec"), extension.__dict__)
    extension.subprocess = types.SimpleNamespace(Popen=started.append)
    menu = extension.PelgraMenu()
    for name, offered in FILES.items():
        labels = [item.label for item in menu.get_file_items(*window, [File(name)])]
        expect(labels, list(KINDS.values()) if offered else [], f"{manager} on {name}")
    expect(menu.get_file_items(*window, [File("/a/b.png"), File(None)]), [], f"{manager} on a file elsewhere")
    for item in menu.get_file_items(*window, [File("/a/-b c.png")]):
        item.activate()
    expect(started, [["pelgra-desktop", "wheel", "--kind", kind, "--", "/a/-b c.png"] for kind in KINDS], f"{manager} runs")


def main():
    data = pathlib.Path(sys.argv[1])
    entries = data / "filemanagers"
    types_offered = key_file(entries / "pelgra-convert-sendto.desktop")["Desktop Entry"]["MimeType"]
    for kind, label in KINDS.items():
        expect(key_file(entries / f"pelgra-{kind}-sendto.desktop")["Desktop Entry"]["MimeType"], types_offered, f"Thunar {kind}")
        check_action(entries / f"pelgra-{kind}-action.desktop", kind, label, types_offered)
    check_service_menu(entries / "pelgra-servicemenu.desktop", types_offered)
    check_nemo(entries)
    check_extension(entries / "pelgra_menu.py", "Nautilus", ())
    check_extension(entries / "pelgra_menu.py", "Caja", (None,))
    print("\n".join(problems), end="\n" if problems else "")
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    main()

"""A tray for a desktop of the tests, and what a user sees and clicks in it."""
import json
import subprocess

from desktop import GTK_PYTHON, HERE, Failure, wait_for

HOST = HERE / "Sources/tray_host.py"


class Tray:
    def __init__(self, desktop):
        self.desktop = desktop
        self.host = desktop.run("tray", [GTK_PYTHON, HOST, "watch"])
        self.host.wait_for("ready")

    def stop(self):
        self.desktop.end(self.host)

    def wait_for_item(self, since=0):
        """The name on the bus of the icon that registered, and when it did on the monotonic clock."""
        _, service, seconds = self.host.wait_for("registered", since).split()
        return TrayItem(self.desktop, service), float(seconds)

    def wait_for_end(self, item):
        self.host.wait_for(f"gone {item.service}")


class TrayItem:
    def __init__(self, desktop, service):
        self.desktop = desktop
        self.service = service

    def ask(self, *words):
        done = subprocess.run([GTK_PYTHON, HOST, words[0], self.service, *words[1:]], env=self.desktop.environment,
                              capture_output=True, text=True)
        if done.returncode:
            raise Failure(f"tray {words}: {done.stderr}")
        return done.stdout

    def properties(self):
        return json.loads(self.ask("item"))

    def labels(self):
        """The visible lines of the menu as it shows now, from the top; "-" for a separator."""
        return ["-" if line.get("type") == "separator" else line["label"] for line in json.loads(self.ask("menu"))
                if line.get("visible", True)]

    def line(self, label):
        return next(line for line in json.loads(self.ask("menu")) if line.get("label") == label)

    def click(self):
        self.ask("activate")

    def choose(self, label):
        self.ask("choose", label)


def expect_labels(item, labels):
    try:
        wait_for(lambda: item.labels() == labels, "the menu")
    except Failure:
        raise Failure(f"the menu says {item.labels()} where {labels} should be") from None

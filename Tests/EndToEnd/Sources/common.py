"""What the sources written in Python share. They print "begin", "end ACTION" and, when told to, "delete"."""
import argparse
import time

TITLE = "Pelgra test source"


def options():
    parser = argparse.ArgumentParser()
    parser.add_argument("--type", required=True)
    parser.add_argument("--data", required=True)
    parser.add_argument("--actions", default="copy,move,link")
    parser.add_argument("--delay", type=float, default=0)
    parser.add_argument("--hang", action="store_true")
    return parser.parse_args()


def content(chosen):
    with open(chosen.data, "rb") as file:
        return file.read()


def be_slow(chosen):
    time.sleep(3600 if chosen.hang else chosen.delay)


def tell(line):
    print(line, flush=True)


def tell_end(action, Gdk):
    names = [name for name in ("copy", "move", "link") if action & getattr(Gdk.DragAction, name.upper())]
    tell(f"end {','.join(names)}")

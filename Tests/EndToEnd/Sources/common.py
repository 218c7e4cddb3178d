"""What the sources written in Python share. They print "shown" once their window is painted, "begin", "end ACTION" and,
when told to, "delete".
"""
import argparse
import time

answered = 0
is_shown = False


def options():
    parser = argparse.ArgumentParser()
    parser.add_argument("--type", required=True)
    parser.add_argument("--data", required=True)
    parser.add_argument("--actions", default="copy,move,link")
    parser.add_argument("--delay", type=float, default=0)
    parser.add_argument("--hang-after", type=int, metavar="ANSWERS")
    parser.add_argument("--title", default="Pelgra test source")
    return parser.parse_args()


def content(chosen):
    with open(chosen.data, "rb") as file:
        return file.read()


def be_slow(chosen):
    global answered
    if answered == chosen.hang_after:
        tell("hang")
        time.sleep(3600)
    answered += 1
    time.sleep(chosen.delay)


def tell(line):
    print(line, flush=True)


def tell_shown(*_):
    global is_shown
    if not is_shown:
        tell("shown")
    is_shown = True


def tell_end(action, Gdk):
    names = [name for name in ("copy", "move", "link") if action & getattr(Gdk.DragAction, name.upper())]
    tell(f"end {','.join(names)}")

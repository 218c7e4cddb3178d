#!/usr/bin/env python3
"""Targets that open a wheel without a key: they come with a drag of files that a wheel has petals for, and go when it
goes elsewhere.

Usage: target_scenarios.py APPLICATION SOURCE-FOLDER [--only REGEX]
"""
import sys

import pictures
import scenarios
from desktop import GTK_PYTHON, Failure, wait_for
from scenarios import OTHER_WINDOW, TARGET_SIDE as SIDE, address, scenario

scenarios.SCENARIOS.clear()
NEAR = (190, 15)  # where the drag began: targets that came with it stay, and the way there is beside them
AWAY = (900, 620)


def targets(scene):
    """The window of the targets while it is visible, and how many it has."""
    found = scene.display.unmanaged_of(lambda width, height: height == SIDE and width in (SIDE, 2 * SIDE))
    own = [window for window in found if scene.display.name(window) == "Pelgra"]
    return (own[0], scene.display.sizes[own[0]][0] // SIDE) if own else None


def begin(scene, kind, *paths):
    """Drags to a place near the source."""
    scene.source = scene.desktop.start_source(kind, b"".join(address(path) for path in paths))
    begin_again(scene)


def begin_again(scene):
    scene.drag_again([at + way for at, way in zip(scene.grip(), NEAR)])


def expect_targets(scene, count):
    window, found = wait_for(lambda: targets(scene), "the targets")
    if found != count:
        raise Failure(f"{found} targets where {count} should be")
    return window


def expect_none(scene):
    wait_for(lambda: not targets(scene), "the targets to go")


def enter(scene, window, index, kind):
    """Moves into a target; its wheel opens there."""
    x, y = scene.display.position(window)
    mark = scene.app.mark()
    scene.glide((x + SIDE * index + SIDE // 2, y + SIDE // 2))
    scene.app.wait_for(f"Wheel shown: {kind}", mark)
    scene.window = wait_for(scene.desktop.wheel, "the wheel's window")
    expect_none(scene)


for source_kind in ("qt6", "gtk3", "gtk4"):
    def opens(scene, kind=source_kind):
        begin(scene, kind, scene.picture())
        enter(scene, expect_targets(scene, 1), 0, "convert")
        scene.point_at(0, 5)
        scene.release()
        scene.expect_files("photo.png", "photo.jpg")
        scene.expect_end()
    opens.__name__ = f"{source_kind}_a_target_opens_its_wheel"
    scenario(opens)

    def elsewhere(scene, kind=source_kind):
        other = scene.desktop.run("other", [GTK_PYTHON, "-c", OTHER_WINDOW])
        wait_for(lambda: scene.display.named("Pelgra test target"), "the other window")
        begin(scene, kind, scene.picture())
        expect_targets(scene, 1)
        scene.glide((800, 530))  # on the other window
        expect_none(scene)
        other.wait_for("motion")
        scene.catch_up()
        scene.release()
        other.wait_for("received")
        scene.expect_end()
        scene.expect_files("photo.png")
        if scene.app.says("Wheel shown", scene.since):
            raise Failure("a wheel opened")
        scene.desktop.end(other)
    elsewhere.__name__ = f"{source_kind}_a_drag_that_goes_elsewhere_leaves_them_behind"
    scenario(elsewhere)


@scenario
def each_target_opens_its_own_wheel(scene):
    paper = scene.folder / "paper.pdf"
    paper.write_bytes(pictures.document((200, 300)))
    begin(scene, "gtk3", paper)
    enter(scene, expect_targets(scene, 2), 1, "tools")
    scene.tap("Shift_L")  # and the keys switch as ever
    scene.point_at(1, 4)
    scene.release()
    scene.app.wait_for("Dropped 1 file(s) on PNG", scene.since)
    scene.expect_end()
    scene.expect_panel()


@scenario
def a_key_opens_the_wheel_in_their_place(scene):
    begin(scene, "gtk3", scene.picture())
    expect_targets(scene, 1)
    scene.open_wheel()
    expect_none(scene)
    scene.release()
    scene.expect_end()


@scenario
def they_go_with_the_drag(scene):
    begin(scene, "gtk3", scene.picture())
    expect_targets(scene, 1)
    scene.release()
    scene.expect_end()
    expect_none(scene)
    begin_again(scene)
    expect_targets(scene, 1)
    scene.tap("Escape")
    expect_none(scene)
    scene.release()
    scene.source.wait_for("end")


@scenario
def files_without_petals_bring_none(scene):
    notes = scene.folder / "notes.txt"
    notes.write_text("Notes\n")
    begin(scene, "gtk3", notes)
    scene.open_wheel()  # what would have come with the start of the drag has come by now
    if scene.has_shown_targets():
        raise Failure("targets for a file that no wheel has petals for")
    scene.release()
    scene.expect_end()


@scenario
def the_focus_stays_where_it_is(scene):
    begin(scene, "gtk3", scene.picture())
    before = scene.display.focus()
    expect_targets(scene, 1)
    if scene.display.focus() != before:
        raise Failure("the focus moved")
    scene.glide(AWAY)
    expect_none(scene)


def switch_on(desktop):
    folder = desktop.folder / "home/.config/pelgra"
    folder.mkdir(parents=True)
    (folder / "pelgra.ini").write_text("[General]\ndragTargets=true\n")


if __name__ == "__main__":
    sys.exit(scenarios.main(before=switch_on))

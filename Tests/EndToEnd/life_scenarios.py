#!/usr/bin/env python3
"""End-to-end scenarios of how the application lives and ends: quitting with windows and jobs, starts at once, odd places
to start from, and what other programs do in the middle of a drag.

Usage: life_scenarios.py APPLICATION SOURCE-FOLDER [--only REGEX]
"""
import os
import signal
import subprocess
import sys
import time

import scenarios
import shell_scenarios
from desktop import Failure, wait_for
from scenarios import address, panels
from shell_scenarios import LAUNCHED, press, scenario
from tray import Tray

shell_scenarios.SCENARIOS.clear()
LONG = [(595, 842)] * 3000


def choose_petal(session, number, *files):
    """Shows the tools wheel for the files and takes its petal of that number by the keyboard."""
    session.hand_over("wheel", "--kind", "tools", *files)
    session.wheel()
    for _ in range(number):
        press(session, "Tab")
    press(session, "Return")


def windows_named(session, title):
    return session.display.visible(lambda window, a: a.width > 1 and session.display.name(window) == title)


def expect_end(session, process, seconds):
    begin = time.monotonic()
    try:
        status = process.child.wait(seconds)
    except subprocess.TimeoutExpired:
        raise Failure(f"it goes on after {seconds} s") from None
    if status:
        raise Failure(f"it ended with {status}")
    session.started.remove(process)
    return time.monotonic() - begin


@scenario
def quit_takes_idle_windows_along(session):
    tray = Tray(session.desktop)
    process = session.launch()
    item, _ = tray.wait_for_item()
    for number in range(3):
        choose_petal(session, 2, *(session.document(f"{letter}{number}.pdf", (100, 200)) for letter in "ab"))
        wait_for(lambda: len(windows_named(session, "Merge PDFs")) == number + 1, "another window")
    item.choose("Quit Pelgra")
    expect_end(session, process, 5)
    if process.text().count("mergePDF window closed without a result") != 3:
        raise Failure(process.text())


@scenario
def job_of_a_window_is_stopped_with_the_process(session):
    paper = session.document("a.pdf", *LONG)
    process = session.launch()
    choose_petal(session, 2, *[paper] * 20)
    window = session.wait_for_window("Merge PDFs")
    wait_for(lambda: session.display.focus() == window, "the focus of the window")
    press(session, "space")  # the action has the focus
    process.wait_for("Job started: Merge PDFs")
    process.child.send_signal(signal.SIGTERM)
    expect_end(session, process, 6)
    if "Job finished" in process.text() or list(session.folder.iterdir()) != [paper]:
        raise Failure(f"it left {list(session.folder.iterdir())}: {process.text()}")


@scenario
def failure_is_shown_before_the_end(session):
    """“Finish, Then Quit” is the question's first answer."""
    tray = Tray(session.desktop)
    process = session.launch()
    item, _ = tray.wait_for_item()
    paper, broken = session.document("paper.pdf", *LONG[:400]), session.folder / "broken.pdf"
    broken.write_bytes(b"%PDF-1.7\n")
    session.hand_over("wheel", paper, broken)
    session.wheel()
    for key in ("Tab", "Return"):
        press(session, key)
    process.wait_for("Job started: 2 files")
    for _ in range(2):
        item.choose("Quit Pelgra")
        question = wait_for(lambda: windows_named(session, "Pelgra"), "the question")
    if len(question) != 1:
        raise Failure(f"it asks {len(question)} times")
    wait_for(lambda: session.display.focus() == question[0], "the focus of the question")
    press(session, "Return")
    process.wait_for("Job failed: 2 files", timeout=120)
    wait_for(lambda: panels(session), "the panel")
    if expect_end(session, process, 10) < 3:
        raise Failure("nobody could read the panel")


@scenario
def alerts_do_not_pile_up(session):
    tray = Tray(session.desktop)
    session.launch()
    item, _ = tray.wait_for_item()
    for _ in range(3):
        item.choose("Check for Updates…")
        wait_for(lambda: windows_named(session, "Pelgra"), "the alert")
    session.hand_over("--background")  # what comes after has been answered
    if len(windows_named(session, "Pelgra")) != 1:
        raise Failure("there are several alerts")


@scenario
def of_starts_at_once_one_remains(session):
    tray = Tray(session.desktop)
    starts = [session.launch("--background", waits=False) for _ in range(6)]
    wait_for(lambda: sum(start.child.poll() is None for start in starts) == 1, "one process to remain", 60)
    remaining = next(start for start in starts if start.child.poll() is None)
    remaining.wait_for(LAUNCHED)
    tray.wait_for_item()
    if any(start.child.poll() or LAUNCHED in start.text() for start in starts if start is not remaining):
        raise Failure("another one went on")
    session.started = [remaining]


@scenario
def deleted_folder_is_no_reason_to_crash(session):
    def launch(*arguments):
        script = 'mkdir gone && cd gone && rmdir ../gone && exec "$0" "$@"'
        process = session.desktop.run(f"gone {len(session.started)}", ["sh", "-c", script, session.desktop.application, *arguments])
        session.started.append(process)
        return process
    process = launch("wheel", "a.pdf")
    if process.child.wait(10) != 2 or not process.says("“a.pdf” isn’t there"):
        raise Failure(process.text())
    session.started.remove(process)
    launch("-PelgraDebugWheel", "a.png", "-ToolWindowsDebug", "mergePDF", "a.pdf").wait_for("Wheel shown: convert, 1 file(s)")
    session.wait_for_window("Merge PDFs")


@scenario
def wheel_alone_stands_at_the_pointer_in_the_corner(session):
    session.display.move(20, 30)
    process = session.launch("wheel", session.picture("photo.png"), waits=False)
    process.wait_for("Wheel shown")
    place = session.display.position(session.wheel())
    if place != (0, 0):
        raise Failure(f"it stands at {place}")
    press(session, "Escape")
    expect_end(session, process, 5)


@scenario
def wheel_stands_in_no_list_of_windows(session):
    session.launch()
    for _ in range(2):  # the window manager forgets what it was told when the window is hidden
        session.hand_over("wheel", session.picture("photo.png"))
        window = session.wheel()
        states = subprocess.run(["xprop", "-id", str(window), "_NET_WM_STATE"], env=session.desktop.environment,
                                capture_output=True, text=True, check=True).stdout
        if not all(state in states for state in ("SKIP_TASKBAR", "SKIP_PAGER", "ABOVE")):
            raise Failure(states)
        press(session, "Escape")
        wait_for(lambda: not session.display.named("Pelgra"), "the wheel to vanish")


def begin_drag(session, name, **options):
    scene = scenarios.Scene(session.desktop, name)
    scene.begin_drag("gtk3", address(scene.picture()), **options)
    scene.open_wheel()
    return scene


@scenario
def wheel_goes_with_its_source(session):
    process = session.launch()
    scene = begin_drag(session, "drag of one that dies")
    scene.point_at(0, 5)
    os.killpg(scene.source.pid, signal.SIGKILL)
    wait_for(lambda: not session.desktop.wheel(), "the wheel to vanish, the button still down", 2)
    scene.release()
    scene.close()
    scene.expect_files("photo.png")
    following = begin_drag(session, "drag after it")
    following.point_at(0, 5)
    following.release()
    following.expect_files("photo.png", "photo.jpg")
    following.close()
    if process.says("Job failed"):
        raise Failure(process.text())


@scenario
def wheel_of_a_drag_keeps_its_petals(session):
    process = session.launch()
    scene = begin_drag(session, "drag")
    session.hand_over("wheel", session.document("report.pdf", (100, 200)))
    scene.point_at(0, 5)
    scene.release()
    scene.expect_files("photo.png", "photo.jpg")
    scene.source.wait_for("end copy")
    session.wheel()  # now its turn has come
    if process.text().count("Wheel shown") != 2:
        raise Failure(process.text())
    scene.close()


@scenario
def drop_is_not_lost_with_its_source(session):
    session.launch()
    hung = []
    for name in ("alone", "followed by another"):
        scene = begin_drag(session, name, hang_after=1, title=f"Pelgra hangs {name}")
        scene.point_at(0, 5)
        scene.release()
        scene.source.wait_for("hang")
        hung.append(scene)
        if name == "alone":
            scene.expect_files("photo.png", "photo.jpg")
    other = begin_drag(session, "the other", title="Pelgra goes on")
    hung[1].expect_files("photo.png", "photo.jpg")
    other.point_at(0, 5)
    other.release()
    other.expect_files("photo.png", "photo.jpg")


if __name__ == "__main__":
    sys.exit(shell_scenarios.main())

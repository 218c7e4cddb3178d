"""Times commands as whole processes, in turn, and prints a table of medians and ratios."""
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
PELGRA = ROOT / "build/release/bin/pelgra"


def prepare(*programs):
    """Installs the peers and builds Pelgra, as ./run and ./test do, and the named programs of this folder."""
    script = (f'set -euo pipefail; . "{ROOT}/tools/setup.sh"; ensure_packages build bench; build_preset release'
              + "".join(f"; build_preset release {program}" for program in programs))
    subprocess.run(["bash", "-c", script], check=True)


class Measured:
    """The runs of one command: seconds, seconds of the processor in the longest, peak bytes of its largest process, bytes
    of what it wrote."""

    def __init__(self, name):
        self.name, self.seconds, self.processor, self.peak, self.size, self.error = name, [], 0, 0, 0, ""

    @property
    def median(self):
        return statistics.median(self.seconds) if self.seconds else float("inf")


def size_of(path):
    if path.is_dir():
        return sum(size_of(child) for child in path.iterdir())
    return path.stat().st_size


def run_once(measured, make_command, inputs, keep):
    """Runs a command in a new folder that holds links to the inputs; what it adds there is its output."""
    with tempfile.TemporaryDirectory(dir=keep, prefix="run-") as name:
        folder = pathlib.Path(name)
        files = []
        for source in inputs:
            files.append(folder / pathlib.Path(source).name)
            os.link(source, files[-1])
        before = set(folder.iterdir())
        command = [str(part) for part in make_command(files, folder)]
        start = time.perf_counter()
        process = subprocess.Popen(command, cwd=folder, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                                   stdin=subprocess.DEVNULL)
        error = process.stderr.read()
        _, status, usage = os.wait4(process.pid, 0)
        seconds = time.perf_counter() - start
        process.returncode = os.waitstatus_to_exitcode(status)
        made = sorted(set(folder.iterdir()) - before)
        if process.returncode != 0 or not made:
            measured.error = (error.decode("utf8", "replace").strip().splitlines() or [f"status {process.returncode}"])[-1][:60]
            return None
        measured.seconds.append(seconds)
        measured.processor = max(measured.processor, usage.ru_utime + usage.ru_stime)
        measured.peak = max(measured.peak, usage.ru_maxrss * 1024)
        measured.size = sum(size_of(path) for path in made)
        if not (keep / "last").exists():
            (keep / "last").mkdir()
        for path in made:
            target = keep / "last" / f"{measured.name}-{path.name}"
            if target.is_dir():
                shutil.rmtree(target)
            path.replace(target)
        return made


def compare(title, goal, inputs, ours, peers, runs, folder, check=None, require=None):
    """Times ours and every peer in turn, `runs` rounds after one that does not count, and prints a table. Returns whether
    the goal was reached: the ratio to the fastest peer, and what `require` says of our own runs (a text and a verdict)."""
    candidates = [(Measured("pelgra"), ours)] + [(Measured(name), command) for name, command in peers.items()]
    for round_number in range(runs + 1):
        for measured, command in candidates:
            if measured.error:
                continue
            run_once(measured, command, inputs, folder)
            if round_number == 0:
                measured.seconds.clear()
    mine = candidates[0][0]
    rivals = [m for m, _ in candidates[1:] if m.seconds]
    notes = {m.name: m.error for m, _ in candidates if m.error}
    lines = []
    for measured in [mine] + sorted(rivals, key=lambda m: m.median):
        quality = check(folder / "last", measured.name) if check else ""
        lines.append((measured.name, measured.median, measured.peak, measured.size, quality))
    # A peer counts when it does the same work: our file is at most a tenth larger than its own.
    equal = [m for m in rivals if mine.size <= 1.1 * m.size]
    fastest = min(equal, key=lambda m: m.median) if equal else None
    ratio = mine.median / fastest.median if fastest and mine.seconds else None
    print_case(title, goal, ratio, fastest.name if fastest else "no peer does the same work", lines, notes)
    shutil.rmtree(folder / "last", ignore_errors=True)
    reached = bool(mine.seconds) and (goal is None or (ratio is not None and ratio <= goal))
    if require and mine.seconds:
        text, holds = require(mine)
        print(f"  {text}: {'reached' if holds else 'NOT reached'}", flush=True)
        reached &= holds
    return reached


def at_most(megabytes, processor_seconds=None):
    """A requirement on our own runs, for compare()."""
    def require(mine):
        text, holds = f"{mine.peak / 1e6:.0f} MB, goal {megabytes}", mine.peak <= megabytes * 1e6
        if processor_seconds is not None:
            text += f"; {mine.processor:.1f} s of the processor, goal {processor_seconds}"
            holds &= mine.processor <= processor_seconds
        return text, holds
    return require


def stays_linear(title, inputs, counts, make_command, folder):
    """Runs a command over more and more inputs, which are the same file under many names, and prints time and memory.
    Reached when a file takes no longer and the whole no more memory than with the fewest, by half at most."""
    print(f"\n{title}")
    first = None
    reached = True
    for count in counts:
        batch = folder / f"batch{count}"
        batch.mkdir()
        files = []
        for number in range(count):
            source = inputs[number % len(inputs)]
            files.append(batch / f"{number:05}{source.suffix}")
            os.link(source, files[-1])
        measured = Measured("pelgra")
        run_once(measured, make_command, files, folder)
        shutil.rmtree(folder / "last", ignore_errors=True)
        shutil.rmtree(batch)
        if measured.error:
            print(f"  {count:6}  failed: {measured.error}", flush=True)
            return False
        first = first or (measured.median / count, measured.peak)
        holds = measured.median / count <= 1.5 * first[0] and measured.peak <= 1.5 * first[1]
        print(f"  {count:6}{measured.median:9.2f} s{measured.peak / 1e6:8.0f} MB peak{'' if holds else '  NOT reached'}",
              flush=True)
        reached &= holds
    return reached


def print_case(title, goal, ratio, against, lines, notes):
    verdict = "" if ratio is None or goal is None else " reached" if ratio <= goal else " NOT reached"
    shown = f"{ratio:.2f}" if ratio is not None else "-"
    print(f"\n{title}: ratio {shown} to {against}" + (f", goal {goal:.2f}{verdict}" if goal is not None else ""))
    for name, median, peak, size, quality in lines:
        print(f"  {name:24}{median * 1000:9.0f} ms{peak / 1e6:8.0f} MB peak{size / 1e6:9.2f} MB written  {quality}")
    for name, why in notes.items():
        print(f"  {name:24}  left out: {why}")
    sys.stdout.flush()

#!/usr/bin/env python3
"""Counts the traps of a run from its parcel output and compares with the trap report.

usage: count_check.py CONTROL_FILE [--paths] [--crossings]

--paths      read the path file, not the Tecplot parcel file
--crossings  every count of a line trap has to be a crossing: the straight track from one output to
             the next cuts the line between its ends

The run needs output at every step (:output_inc 1) with id, state, height (elevation with
:source_to_datum) and mass. Positions are printed with three decimals: one that lies within the
rounding of a limit is told and may make a difference.

Exit status: 0 all lines and totals agree, 1 they do not, 2 the run cannot be checked.
"""

import re
import sys
from datetime import datetime, timedelta
from pathlib import Path

ROUNDING = 0.00051  # m, of a printed position


class CannotCheck(Exception):
    pass


# Control file ------------------------------------------------------------------------------------


def read_cards(path):
    cards = {}
    for line in Path(path).read_text().splitlines():
        words = line.replace("\t", " ").strip().split(None, 1)
        if words and words[0].startswith(":"):
            cards[words[0].lower()] = words[1].strip() if len(words) > 1 else ""
        if words and words[0].lower() == ":end_data":
            break
    return cards


def date_of(text):
    n = [int(word) for word in text.replace(",", " ").split()]
    return datetime(*n[:6])


# Trap file ---------------------------------------------------------------------------------------


class Trap:
    pass


def read_traps(path):
    lines = iter(Path(path).read_text().splitlines())

    def numbers(count):
        return next(lines).replace(",", " ").split()[:count]

    traps = []
    for kind in ("line", "polygon"):
        for _ in range(int(numbers(1)[0])):
            trap = Trap()
            next(lines)
            first, low, high, opened, one_count = numbers(5)
            trap.kind = kind
            trap.low, trap.high = float(low), float(high)
            trap.opened, trap.one_count = int(opened) == 1, int(one_count) == 1
            if kind == "line":
                trap.side = int(first)
                trap.points = [tuple(map(float, numbers(2))) for _ in range(2)]
            else:
                points = {}
                for _ in range(int(first)):
                    number, x, y = numbers(3)
                    points[int(number)] = (float(x), float(y))
                trap.points = [points[i] for i in range(1, int(first) + 1)]
            traps.append(trap)
    return traps


# Parcel output: frames[k][id] = (x, y, height, mass, alive), k the step from 1 --------------------


def columns_of(head, height):
    names = re.findall(r'"([^"]*)"', head)
    wanted = ["X", "Y", height, "MASS", "STATE"]
    missing = [name for name in wanted + ["ID"] if name not in names]
    if missing:
        raise CannotCheck("the parcel output has no column " + ", ".join(missing))
    return names, [names.index(name) for name in wanted], names.index("ID")


def parcel_of(words, wanted):
    x, y, height, mass, state = (float(words[i]) for i in wanted)
    return x, y, height, mass, state >= 0.0


def read_frames(path, height):
    frames, stamps = [], []
    with open(path) as file:
        _, wanted, id_column = columns_of(next(file), height)
        for line in file:
            if line.startswith("ZONE"):
                digits = re.search(r"@ *([0-9/.]+)", line).group(1).replace(".", "/").split("/")
                n = [int(word) for word in digits]
                stamps.append(datetime(*n[:6]) + timedelta(milliseconds=n[6]))
                frames.append({})
            elif line.strip():
                words = line.split()
                frames[-1][int(float(words[id_column]))] = parcel_of(words, wanted)
    return frames, stamps


def read_paths(path, height, first_stamp, step):
    frames = []
    with open(path) as file:
        names, wanted, id_column = columns_of(next(file), height)
        time_column = names.index("Time")
        for line in file:
            if line.startswith("ZONE") or not line.strip():
                continue
            words = line.split()
            k = round(float(words[time_column]) / step)
            frames.extend({} for _ in range(k + 1 - len(frames)))
            frames[k][int(float(words[id_column]))] = parcel_of(words, wanted)
    return frames, [first_stamp + timedelta(seconds=step * k) for k in range(len(frames))]


# Where a parcel lies. The second value: within the rounding of a limit -----------------------------


def distance(p, a, b):
    """From point p to the straight line between a and b."""
    dx, dy = b[0] - a[0], b[1] - a[1]
    length2 = dx * dx + dy * dy
    t = 0.0 if length2 == 0.0 else ((p[0] - a[0]) * dx + (p[1] - a[1]) * dy) / length2
    t = min(max(t, 0.0), 1.0)
    return ((p[0] - a[0] - t * dx) ** 2 + (p[1] - a[1] - t * dy) ** 2) ** 0.5


def turn(a, b, p):
    """Positive where p lies to the left of the way from a to b."""
    return (b[0] - a[0]) * (p[1] - a[1]) - (b[1] - a[1]) * (p[0] - a[0])


def in_band(trap, height):
    near = min(abs(height - trap.low), abs(height - trap.high)) < ROUNDING
    return trap.low <= height <= trap.high, near


def beyond_line(trap, x, y):
    """On the side that counts and within the extent of the line."""
    a, b = sorted(trap.points)
    along = 1 if a[0] == b[0] else 0  # the axis that the extent is taken along
    low, high = sorted((a[along], b[along]))
    place = (x, y)[along]
    # Left of the way from a to b is above it, for an upright line at lower x.
    side = turn(a, b, (x, y)) * (-1.0 if along == 1 else 1.0)
    near = min(abs(place - low), abs(place - high), distance((x, y), a, b)) < ROUNDING
    return low <= place <= high and side * trap.side > 0.0, near


def inside_polygon(trap, x, y):
    """A ray upwards from the point cuts the edges an odd number of times."""
    inside, near = False, False
    points = trap.points
    for a, b in zip(points, points[1:] + points[:1]):
        near = near or distance((x, y), a, b) < ROUNDING
        if (a[0] > x) != (b[0] > x):
            if a[1] + (x - a[0]) / (b[0] - a[0]) * (b[1] - a[1]) > y:
                inside = not inside
    return inside, near


def crosses(trap, before, now):
    a, b = trap.points
    return (turn(a, b, before) * turn(a, b, now) <= 0.0
            and turn(before, now, a) * turn(before, now, b) <= 0.0)


def seen(trap, parcel):
    x, y, height, _, _ = parcel
    band, near_band = in_band(trap, height)
    place, near_place = (beyond_line if trap.kind == "line" else inside_polygon)(trap, x, y)
    return band and place, (near_band and place) or (band and near_place)


# The count: entries of polygons, first sights beyond lines, stays ----------------------------------


class Counter:
    def __init__(self, traps, period, residence):
        self.traps, self.period, self.residence = traps, period, residence
        self.state = {}   # (id, trap): "in" or "spent"
        self.stay = {}    # id: (trap, entry)
        self.counts = []  # (step, id, trap)
        self.stays = []   # (id, trap, entry, end)
        self.mass = [0.0] * (len(traps) + 1)
        self.undecided = set()
        self.crossings = [0] * (len(traps) + 1)
        self.numbers = [0] * (len(traps) + 1)

    def test(self, k, id_, j, parcel, before, t, end, last):
        """True if the parcel is taken out."""
        trap = self.traps[j - 1]
        state = self.state.get((id_, j))
        if state == "spent":
            return False
        inside, undecided = seen(trap, parcel)
        if undecided:
            self.undecided.add((id_, j))
        in_period = self.period[0] <= t < self.period[1]
        stays = self.residence and trap.kind == "polygon"
        if inside:
            if in_period and not stays and state is None:
                self.counts.append((k, id_, j))
                self.mass[j] += parcel[3]
                self.numbers[j] += 1
                if trap.kind == "line" and before is not None:
                    self.crossings[j] += crosses(trap, before[:2], parcel[:2])
            if in_period and stays and id_ not in self.stay:
                self.stay[id_] = (j, t)
            self.state[id_, j] = "spent" if trap.one_count else "in"
        elif trap.kind == "polygon":
            self.state.pop((id_, j), None)
        if stays and (last or not inside) and self.stay.get(id_, (0,))[0] == j:
            entry = self.stay.pop(id_)[1]
            if entry > 0.0:
                self.stays.append((id_, j, entry, end))
        return inside and not trap.opened


def count(traps, frames, step, period, residence, last_step_only):
    counter = Counter(traps, period, residence)
    dead = set()
    for k, frame in enumerate(frames, start=1):
        last = k == len(frames)
        if last_step_only and not last:
            dead.update(id_ for id_, parcel in frame.items() if not parcel[4])
            continue
        t, end = (k - 1) * step, k * step
        for id_ in sorted(frame):
            if id_ in dead:
                continue
            parcel = frame[id_]
            if not parcel[4]:
                # Dead since this step: by a trap, which then saw it at this place, or otherwise,
                # and then no trap has looked at it.
                dead.add(id_)
                if not any(not trap.opened and counter.state.get((id_, j)) != "spent"
                           and seen(trap, parcel)[0] for j, trap in enumerate(traps, start=1)):
                    continue
            before = frames[k - 2].get(id_) if k > 1 else None
            taken = [counter.test(k, id_, j, parcel, before, t, end, last)
                     for j in range(1, len(traps) + 1)]
            if any(taken) and parcel[4]:
                print(f"parcel {id_} lives on in step {k} though a trap takes it out")
                counter.counts.append((k, id_, 0))  # agrees with no report
    return counter


# The report ----------------------------------------------------------------------------------------


def read_counts(path):
    lines, totals = [], {}
    for line in Path(path).read_text().splitlines()[1:]:
        if "Total=" in line:
            j = int(line.split("Trap")[1].split()[0])
            totals[j] = float(line.split("Total=")[1].split()[0])
        elif line.strip():
            words = line.split()
            lines.append((int(words[0]), int(words[3]), int(words[4])))
    return lines, totals


def read_stays(path, start):
    stays = []
    for line in Path(path).read_text().splitlines()[1:]:
        if not line.strip():
            continue
        words = line.split()
        times = []
        for day, time in (words[2:4], words[4:6]):
            whole = datetime.strptime(day + " " + time.split(".")[0].split("*")[0],
                                      "%Y/%m/%d %H:%M:%S")
            tenth = time[8:]
            fraction = 1.0 if "*" in tenth else float(tenth)
            times.append((whole - start).total_seconds() + fraction)
        stays.append((int(words[0]), int(words[1]), times[0], times[1], float(words[6])))
    return stays


def differences(name, ours, theirs):
    missing, extra = set(ours) - set(theirs), set(theirs) - set(ours)
    for what, rows in ((f"{name} not in the report", missing), (f"{name} only there", extra)):
        for row in sorted(rows)[:10]:
            print(f"{what}: {row}")
    same = not missing and not extra and len(ours) == len(theirs)
    print(f"{name}: {len(ours)} counted, {len(theirs)} reported, {'same' if same else 'NOT THE SAME'}")
    return same


def compare_totals(counter, totals):
    good = set(totals) == set(range(1, len(counter.traps) + 1))
    for j, total in sorted(totals.items()):
        # The report adds up in 4 bytes; the masses of the output have three decimals.
        tolerance = 0.0005 * (counter.numbers[j] + 1) + 1e-5 * total
        same = abs(total - counter.mass[j]) <= tolerance
        good = good and same
        print(f"trap {j}: {counter.numbers[j]} counts, {counter.mass[j]:.3f} kg, reported "
              f"{total:.3f} kg, {'same' if same else 'NOT THE SAME'}"
              + (f"; {counter.crossings[j]} by crossing the line"
                 if counter.traps[j - 1].kind == "line" else ""))
    return good


def compare_stays(counter, reported):
    good = differences("stays", [(i, j, round(a, 1), round(b, 1))
                                 for i, j, a, b in counter.stays],
                       [(i, j, round(a, 1), round(b, 1)) for i, j, a, b, _ in reported])
    for i, j, a, b, seconds in reported:
        if abs(b - a - seconds) > 0.21:
            print(f"stay of parcel {i} in trap {j}: {seconds} s from {a} to {b}")
            good = False
    return good


# -----------------------------------------------------------------------------------------------------


def check(control, use_paths, only_crossings):
    cards = read_cards(control)
    prefix, step = cards[":output_prefix"], float(cards[":time_step"])
    start, stop = date_of(cards[":start_run"]), date_of(cards[":stop_run"])
    residence, last_step = ":residence_calc" in cards, ":last_step_trap" in cards
    height = "Z" if ":source_to_datum" in cards else "h"
    traps = read_traps(cards[":trap_file"])
    if residence and any(trap.kind == "line" for trap in traps):
        raise CannotCheck("line traps in a residence run drop the stays")

    first_end = start + timedelta(seconds=step)
    if use_paths:
        frames, stamps = read_paths(prefix + "_paths.plt", height, first_end, step)
    else:
        frames, stamps = read_frames(prefix + "_particles.plt", height)
    # Steps before the first release have no output.
    empty = round((stamps[0] - first_end).total_seconds() / step) if stamps else 0
    if any(abs((stamp - first_end).total_seconds() / step - empty - k) > 0.01
           for k, stamp in enumerate(stamps)):
        raise CannotCheck("the parcel output has no frame at every step")
    frames = [{}] * empty + frames

    seconds = (stop - start).total_seconds()
    begin = max((date_of(cards[":start_trap"]) - start).total_seconds(), 0.0) \
        if ":start_trap" in cards else 0.0
    end = (date_of(cards[":stop_trap"]) - start).total_seconds() \
        if ":stop_trap" in cards else seconds
    period = (begin, end if end < seconds else end + step)
    counter = count(traps, frames, step, period, residence, last_step)

    if residence:
        suffix = "_bin.out" if last_step else "_residency.out"
        good = compare_stays(counter, read_stays(prefix + suffix, start))
    else:
        lines, totals = read_counts(prefix + ("_bin.out" if last_step else "_count.out"))
        good = differences("counts", counter.counts, lines)
        good = compare_totals(counter, totals) and good
        if only_crossings:
            for j, trap in enumerate(traps, start=1):
                if trap.kind == "line" and counter.crossings[j] != counter.numbers[j]:
                    print(f"trap {j}: not all counts are crossings")
                    good = False
    if counter.undecided:
        print(f"{len(counter.undecided)} parcel and trap pairs came within the rounding of a limit")
    print("agrees" if good else "DOES NOT AGREE")
    return good


def main(words):
    flags = {word for word in words if word.startswith("--")}
    names = [word for word in words if not word.startswith("--")]
    if len(names) != 1 or flags - {"--paths", "--crossings"}:
        print(__doc__)
        return 2
    try:
        return 0 if check(names[0], "--paths" in flags, "--crossings" in flags) else 1
    except CannotCheck as reason:
        print(f"cannot check: {reason}")
    except (OSError, KeyError, ValueError, IndexError, StopIteration) as reason:
        print(f"cannot check: {type(reason).__name__}: {reason}")
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

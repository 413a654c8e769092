#!/usr/bin/env python3
"""What became of the hump: numbers on the console, migrating_bed.png if matplotlib is there.

Reads formula_bed.t3s, lattice_bed.t3s and the transport files beside them. Needs only the standard
library for the numbers.
"""

import math
import os
import struct

NODES, STEP, DEPTH, DISCHARGE = 51, 20.0, 5.0, 5.0
POROSITY, RHOS = 0.4, 2650.0
MIDDLE = NODES // 2  # row of the crest
# The solver does not reach the edges of its lattice: columns and rows beside them are left out.
LOW, HIGH = 4, NODES - 4


def frames(path):
    """Dates and values of the frames of an EnSim file; a vector file gives u, then v."""
    with open(path, "rb") as file:
        data = file.read()
    at = data.index(b":EndHeader\n") + len(b":EndHeader\n")
    records = []
    while at < len(data):
        (length,) = struct.unpack_from("<i", data, at)
        records.append(data[at + 4 : at + 4 + length])
        at += length + 8
    result = []
    for record in records[1:]:  # the first is the mesh
        year, month, day, hour, minute, second, _ = struct.unpack_from("<7i", record, 8)
        count = (len(record) - 36) // 4
        seconds = ((day - 1) * 24 + hour) * 3600 + minute * 60 + second
        result.append((seconds, struct.unpack_from("<%df" % count, record, 36)))
    return result


def rise(values, i, j):
    return DEPTH - values[j * NODES + i]


def window(values):
    """Volume, place of the middle and of the crest (m), height of the crest of the hump."""
    volume = moment = 0.0
    for j in range(LOW, HIGH):
        for i in range(LOW, HIGH):
            volume += rise(values, i, j) * STEP * STEP
            moment += rise(values, i, j) * STEP * STEP * i * STEP
    # Crest of the middle row, by a parabola through the highest node and its neighbours.
    row = [rise(values, i, MIDDLE) for i in range(NODES)]
    i = max(range(LOW, HIGH), key=lambda k: row[k])
    bend = row[i - 1] - 2.0 * row[i] + row[i + 1]
    crest = (i + 0.5 * (row[i - 1] - row[i + 1]) / bend) * STEP if bend else i * STEP
    return volume, moment / volume, crest, max(row[LOW:HIGH])


def bed_load(case):
    """Transport against depth of the first frame, m2/s of bed, and both at the plain and the crest."""
    bed = frames(case + "_bed.t3s")[0][1]
    load = frames(case + "_qs.t3v")[0][1]
    inside = [
        (bed[j * NODES + i], math.hypot(load[j * NODES + i], load[(NODES + j) * NODES + i]))
        for j in range(LOW, HIGH)
        for i in range(LOW, HIGH)
    ]
    return sorted((d, q / RHOS / (1.0 - POROSITY)) for d, q in inside)


def speed(pairs, low, high):
    """-dq/dd of the pairs between two depths, by a straight line through them."""
    part = [(d, q) for d, q in pairs if low <= d <= high]
    md = sum(d for d, _ in part) / len(part)
    mq = sum(q for _, q in part) / len(part)
    return -sum((d - md) * (q - mq) for d, q in part) / sum((d - md) ** 2 for d, _ in part)


def tell(case):
    bed = frames(case + "_bed.t3s")
    (t0, first), (t1, last) = bed[0], bed[-1]
    before, after = window(first), window(last)
    days = (t1 - t0) / 86400.0
    print("%s, %.2f days" % (case, days))
    print("  volume       %10.1f -> %10.1f m3 (%+.2f %%)"
          % (before[0], after[0], 100.0 * (after[0] / before[0] - 1.0)))
    print("  middle at    %10.1f -> %10.1f m   (%.2f m a day)"
          % (before[1], after[1], (after[1] - before[1]) / days))
    print("  crest at     %10.1f -> %10.1f m   (%.2f m a day)"
          % (before[2], after[2], (after[2] - before[2]) / days))
    print("  crest height %10.3f -> %10.3f m" % (before[3], after[3]))
    all_first = sum(rise(first, i, j) for j in range(NODES) for i in range(NODES))
    all_last = sum(rise(last, i, j) for j in range(NODES) for i in range(NODES))
    print("  whole mesh, plain sum of rises x cell: %.1f -> %.1f m3"
          % (all_first * STEP * STEP, all_last * STEP * STEP))
    if os.path.exists(case + "_qs.t3v"):
        pairs = bed_load(case)
        crest_depth = pairs[0][0]
        plain = pairs[-1][1]
        excess = sum(q - plain for _, q in pairs) / sum(DEPTH - d for d, _ in pairs)
        print("  middle by the transport of the first frame: %.2f m a day" % (excess * 86400.0))
        low_hump = speed(pairs, DEPTH - 0.1, DEPTH) * 86400.0
        high_hump = speed(pairs, crest_depth, crest_depth + 0.1) * 86400.0
        print("  -dq/dd       %10.2f m a day on the plain bed, %.2f at the crest" % (low_hump, high_hump))
    return first, last, days


def draw(results):
    try:
        import matplotlib
    except ImportError:
        print("no matplotlib: no picture")
        return
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    figure, axes = plt.subplots(2, 2, figsize=(9, 5.4), constrained_layout=True)
    xs = [STEP * i for i in range(NODES)]
    for (title, (first, last, days)), (plan, section) in zip(results.items(), axes):
        levels = [0.05, 0.15, 0.25, 0.35, 0.45]
        field = [[rise(last, i, j) for i in range(NODES)] for j in range(NODES)]
        start = [[rise(first, i, j) for i in range(NODES)] for j in range(NODES)]
        shade = plan.pcolormesh(xs, xs, field, cmap="YlOrBr", vmin=0, vmax=0.5, shading="gouraud")
        plan.contour(xs, xs, start, levels, colors="grey", linewidths=0.6, linestyles="dashed")
        plan.contour(xs, xs, field, levels, colors="k", linewidths=0.6)
        plan.set(title="%s: after %.1f days (dashed: start)" % (title, days), aspect="equal",
                 ylim=(250, 750), ylabel="y (m)")
        figure.colorbar(shade, ax=plan, label="above plain bed (m)", shrink=0.8)
        section.plot(xs, start[MIDDLE], "--", color="grey", label="start")
        section.plot(xs, field[MIDDLE], color="k", label="end")
        section.set(title="through the crest", ylabel="above plain bed (m)", ylim=(-0.2, 0.6))
        section.legend(frameon=False)
    for axis in axes[1]:
        axis.set_xlabel("x (m), current to the right")
    figure.savefig("migrating_bed.png", dpi=80)
    print("picture: migrating_bed.png")


def main():
    os.chdir(os.path.dirname(os.path.abspath(__file__)))
    results = {}
    for case, title in (("formula", "closed formula"), ("lattice", "a-d")):
        if os.path.exists(case + "_bed.t3s"):
            results[title] = tell(case)
    if len(results) == 2:
        draw(results)


if __name__ == "__main__":
    main()

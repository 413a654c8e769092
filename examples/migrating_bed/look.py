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
# What the sides see is no business of the hump: it is measured against rows that it does not reach,
# away from the scour at the inflow of the lattice and the sand heaped up at its outflow.
PLAIN_ROWS = range(5, 9)
COLUMNS = range(11, 45)
ROWS = range(9, 42)


def frames(path):
    """Seconds of the month and values of the frames of an EnSim file; a vector gives u, then v."""
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
        _, _, day, hour, minute, second, _ = struct.unpack_from("<7i", record, 8)
        count = (len(record) - 36) // 4
        seconds = ((day - 1) * 24 + hour) * 3600 + minute * 60 + second
        result.append((seconds, struct.unpack_from("<%df" % count, record, 36)))
    return result


def rise(values, i, j):
    return DEPTH - values[j * NODES + i]


def hump(values, i, j):
    return rise(values, i, j) - sum(rise(values, i, k) for k in PLAIN_ROWS) / len(PLAIN_ROWS)


def measures(values):
    """Volume (m3), place of the middle and of the crest (m), height of the crest (m)."""
    volume = moment = 0.0
    for j in ROWS:
        for i in COLUMNS:
            part = hump(values, i, j) * STEP * STEP
            volume += part
            moment += part * i * STEP
    # Crest of the middle row, by a parabola through the highest node and its neighbours.
    row = [hump(values, i, MIDDLE) for i in range(NODES)]
    i = max(COLUMNS, key=lambda k: row[k])
    bend = row[i - 1] - 2.0 * row[i] + row[i + 1]
    crest = i + 0.5 * (row[i - 1] - row[i + 1]) / bend
    return volume, moment / volume, crest * STEP, row[i]


def volume_of_mesh(values):
    """Sand above the plain bed of the whole mesh, m3: the mean of each triangle by its area."""
    total = 0.0
    for j in range(NODES - 1):
        for i in range(NODES - 1):
            # Both triangles of a cell hold its first and last corner.
            corners = (rise(values, i, j), rise(values, i + 1, j + 1))
            others = (rise(values, i + 1, j), rise(values, i, j + 1))
            total += (2.0 * sum(corners) + sum(others)) / 6.0 * STEP * STEP
    return total


def transport(case, frame):
    """Pairs of depth and transport, m2/s of bed, of the nodes looked at in a frame."""
    bed = frames(case + "_bed.t3s")[frame][1]
    load = frames(case + "_qs.t3v")[frame][1]
    pairs = []
    for j in ROWS:
        for i in COLUMNS:
            n = j * NODES + i
            q = math.hypot(load[n], load[NODES * NODES + n])
            pairs.append((bed[n], q / RHOS / (1.0 - POROSITY)))
    return sorted(pairs)


def speed(pairs, low, high):
    """-dq/dd of the pairs between two depths, m a day, by a straight line through them."""
    part = [(d, q) for d, q in pairs if low <= d <= high]
    md = sum(d for d, _ in part) / len(part)
    mq = sum(q for _, q in part) / len(part)
    slope = sum((d - md) * (q - mq) for d, q in part) / sum((d - md) ** 2 for d, _ in part)
    return -slope * 86400.0


def tell(case, frame):
    """Compares the last frame with `frame`, in which the transport has come up to the flow."""
    bed = frames(case + "_bed.t3s")
    (t0, first), (t1, last) = bed[frame], bed[-1]
    before, after, start = measures(first), measures(last), measures(bed[0][1])
    days = (t1 - t0) / 86400.0
    print("%s, the last %.2f days" % (case, days))
    print("  hump          %9.1f -> %9.1f m3 (%+.2f %%; at the start %.1f)"
          % (before[0], after[0], 100.0 * (after[0] / before[0] - 1.0), start[0]))
    whole = volume_of_mesh(first), volume_of_mesh(last)
    print("  whole mesh    %9.1f -> %9.1f m3 (%+.3f m3; at the start %.1f)"
          % (whole + (whole[1] - whole[0], volume_of_mesh(bed[0][1]))))
    print("  crest height  %9.3f -> %9.3f m" % (before[3], after[3]))
    print("  middle at     %9.1f -> %9.1f m: %6.2f m a day"
          % (before[1], after[1], (after[1] - before[1]) / days))
    pairs = transport(case, frame)
    plain = sum(q for d, q in pairs if d > DEPTH - 0.001) / sum(d > DEPTH - 0.001 for d, _ in pairs)
    excess = sum(q - plain for _, q in pairs) / sum(DEPTH - d for d, _ in pairs)
    print("    (q - q plain) / rise, over the hump: %6.2f m a day" % (excess * 86400.0))
    print("  crest at      %9.1f -> %9.1f m: %6.2f m a day"
          % (before[2], after[2], (after[2] - before[2]) / days))
    top = pairs[0][0]
    print("    -dq/dd on the plain bed %.2f, on the upper fifth %.2f m a day"
          % (speed(pairs, DEPTH - 0.1, DEPTH), speed(pairs, top, top + 0.1)))
    return bed[0][1], last, (t1 - bed[0][0]) / 86400.0


def draw(results):
    try:
        import matplotlib
    except ImportError:
        print("no picture: this python3 has no matplotlib (Debian: python3-matplotlib)")
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
    # The lattice begins with clear water: its first half day is left out.
    for case, title, frame in (("formula", "closed formula", 0), ("lattice", "a-d", 1)):
        results[title] = tell(case, frame)
    draw(results)


if __name__ == "__main__":
    main()

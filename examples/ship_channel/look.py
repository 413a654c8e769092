#!/usr/bin/env python3
"""What the passage did: numbers on the console, passage.png if matplotlib is there.

Reads the Tecplot maps, parcels and population of the run. Five minutes after it came, the ship is in
the middle of the reach: lowering of the surface, speed of the water, stress on the bed; and where the
parcels lay before and lie after the passage. Needs only the standard library for the numbers.
"""
import os

PREFIX, WINDOW = "ship_channel", (1400.0, 2600.0)
SHIP = (3550.0 - 5.15 * 300.0, 200.0, 180.0, 28.0)  # middle at 00:08, length, beam
# Nodes looked at: beside the hull, over the flats to port and starboard, and ahead of the ship.
PLACES = ((2000.0, 240.0), (2000.0, 300.0), (2000.0, 100.0), (1400.0, 200.0))


def read_maps(path):
    """Returns x, y, triangles and {date: {name: values}}."""
    frames, triangles, x, y = {}, [], [], []
    with open(path) as f:
        names = f.readline().split('"')[1::2]
        line = f.readline()
        while line:
            date = line.split("@")[1].split('"')[0].strip()
            head = f.readline()
            nodes = int(head.split("N=")[1].split(",")[0])
            rows = [[float(v) for v in f.readline().split()] for _ in range(nodes)]
            if not x:  # the first zone carries the mesh
                x, y = [r[0] for r in rows], [r[1] for r in rows]
                rows = [r[2:] for r in rows]
                elements = int(head.split("E=")[1].split(",")[0])
                triangles = [[int(v) - 1 for v in f.readline().split()] for _ in range(elements)]
            frames[date] = dict(zip(names[2:], zip(*rows)))
            line = f.readline()
            while line and not line.startswith("ZONE"):
                line = f.readline()
    return x, y, triangles, frames


def read_parcels(path):
    """Returns the first and the last frame as lists of (x, y, source)."""
    frames = []
    with open(path) as f:
        names = f.readline().split('"')[1::2]
        source = names.index("SOURCE")
        for line in f:
            if line.startswith("ZONE"):
                frames.append([])
                continue
            p = line.split()
            frames[-1].append((float(p[0]), float(p[1]), int(p[source])))
    return frames[0], frames[-1]


def frame_at(frames, time):
    """Name and values of the last frame up to a time of the day; maps carry the end of their step."""
    date = max(d for d in frames if d[11:] <= time)
    return date, frames[date]


def speeds(columns):
    return [(u * u + v * v) ** 0.5 for u, v in zip(columns["U"], columns["V"])]


def tell_flow(x, y, frames):
    quiet, passing = frame_at(frames, "00/03/03")[1], frame_at(frames, "00/08/03")[1]
    print("At 00:08 the middle of the ship is at x = %.0f, y = %.0f m" % SHIP[:2])
    for place in PLACES:
        n = list(zip(x, y)).index(place)
        print("  x %4.0f, y %3.0f m: level %+.3f m, speed %.2f -> %.2f m/s, stress on the bed %.2f -> %.2f Pa"
              % (*place, passing["Z"][n], speeds(quiet)[n], speeds(passing)[n],
                 quiet["Shear Stress"][n], passing["Shear Stress"][n]))
    print("  level from %.2f to %.2f m, speed up to %.2f m/s in the jet"
          % (min(passing["Z"]), max(passing["Z"]), max(speeds(passing))))


def tell_parcels(before, after):
    with open(PREFIX + "_population.plt") as f:
        rows = [[float(v) for v in line.split()] for line in f.readlines()[2:]]
    most = max(rows, key=lambda row: row[4])
    time = int(most[0]) % 86400
    print("Of %d parcels %d are in motion at once at %02d:%02d:%02d, and %d at the end"
          % (rows[-1][1], most[4], time // 3600, time // 60 % 60, time % 60, rows[-1][4]))
    shifts = [b[0] - a[0] for a, b in zip(before, after)]
    print("  carried along the current: %.0f m on average, %.0f to %.0f m"
          % (sum(shifts) / len(shifts), min(shifts), max(shifts)))


def draw(x, y, triangles, frames, before, after):
    try:
        import matplotlib
    except ImportError:
        print("no picture: this python3 has no matplotlib (Debian: python3-matplotlib)")
        return
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
    from matplotlib.tri import Triangulation

    mesh = Triangulation(x, y, triangles)
    date, column = frame_at(frames, "00/08/03")
    panels = (
        ("water level, m", column["Z"], "RdBu", (-0.4, 0.4)),
        ("speed, m/s", speeds(column), "viridis", (0.0, 2.0)),
        ("stress on the bed, Pa", column["Shear Stress"], "magma_r", (0.0, 4.0)),
    )
    figure, axes = plt.subplots(4, 1, figsize=(8.0, 7.4), sharex=True, constrained_layout=True)
    for axis, (title, values, colours, (low, high)) in zip(axes, panels):
        levels = [low + (high - low) * i / 16.0 for i in range(17)]
        filled = axis.tricontourf(mesh, values, levels=levels, cmap=colours, extend="both")
        figure.colorbar(filled, ax=axis, label=title, shrink=0.9)
        middle, side, length, beam = SHIP
        corner = (middle - length / 2, side - beam / 2)
        axis.add_patch(plt.Rectangle(corner, length, beam, fill=False))
    axes[3].scatter(*zip(*(p[:2] for p in before)), s=1, c="0.75", label="before")
    axes[3].scatter(*zip(*(p[:2] for p in after)), s=1, c="#d62728", label="after")
    axes[3].legend(loc="upper right", markerscale=6)
    for axis in axes:
        axis.set_xlim(*WINDOW)
        axis.set_ylim(0.0, 400.0)
        axis.axhspan(140.0, 260.0, fill=False, lw=0.5, ls=":")
        axis.set_ylabel("y, m")
    axes[3].set_xlabel("x, m")
    figure.suptitle("Ship of 180 m at 10 knots in a dredged channel, " + date[11:].replace("/", ":"))
    figure.savefig("passage.png", dpi=80)
    print("picture: passage.png")


def main():
    os.chdir(os.path.dirname(os.path.abspath(__file__)))
    maps = read_maps(PREFIX + "_maps.plt")
    before, after = read_parcels(PREFIX + "_particles.plt")
    tell_flow(maps[0], maps[1], maps[3])
    tell_parcels(before, after)
    draw(*maps, before, after)


if __name__ == "__main__":
    main()

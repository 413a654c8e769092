#!/usr/bin/env python3
"""Draws the passage from the Tecplot maps and parcels of the run as passage.png (python3-matplotlib).

usage: plot_passage.py [OUT.png]

Five minutes after it came, the ship is in the middle of the reach: lowering of the surface, speed of
the water, stress on the bed; and where the parcels lay before and lie after the passage.
"""
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
from matplotlib.tri import Triangulation

PREFIX, WINDOW = "ship_channel", (1400.0, 2600.0)
SHIP = (3550.0 - 5.15 * 300.0, 200.0, 180.0, 28.0)  # middle at 00:08, length, beam


def read_maps(path):
    """Returns names, x, y, triangles and {date: rows}; a row holds what stands behind x and y."""
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
            frames[date] = rows
            line = f.readline()
            while line and not line.startswith("ZONE"):
                line = f.readline()
    return names[2:], Triangulation(x, y, triangles), frames


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


def main():
    names, mesh, frames = read_maps(PREFIX + "_maps.plt")
    date = max(d for d in frames if d[11:] <= "00/08/03")
    column = dict(zip(names, zip(*frames[date])))
    speed = [(u * u + v * v) ** 0.5 for u, v in zip(column["U"], column["V"])]
    panels = (
        ("water level, m", column["Z"], "RdBu", (-0.4, 0.4)),
        ("speed, m/s", speed, "viridis", (0.0, 2.0)),
        ("stress on the bed, Pa", column["Shear Stress"], "magma_r", (0.0, 4.0)),
    )
    figure, axes = plt.subplots(4, 1, figsize=(8.0, 7.4), sharex=True, constrained_layout=True)
    for axis, (title, values, colours, (low, high)) in zip(axes, panels):
        levels = [low + (high - low) * i / 16.0 for i in range(17)]
        filled = axis.tricontourf(mesh, values, levels=levels, cmap=colours, extend="both")
        figure.colorbar(filled, ax=axis, label=title, shrink=0.9)
        x, y, length, beam = SHIP
        axis.add_patch(plt.Rectangle((x - length / 2, y - beam / 2), length, beam, fill=False))
    before, after = read_parcels(PREFIX + "_particles.plt")
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
    figure.savefig(sys.argv[1] if len(sys.argv) > 1 else "passage.png", dpi=80)


if __name__ == "__main__":
    main()

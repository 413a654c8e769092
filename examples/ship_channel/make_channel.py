#!/usr/bin/env python3
"""Writes the mesh and the flow of the ship channel into data/; needs nothing but Python.

A straight reach of 4000 by 400 m: a dredged channel, 12 m deep and 120 m wide, with banks of 1 to 5
up to flats of 4 m. A steady current along it, faster where it is deeper, and a level surface. Both
ends are open.
"""
import os

LENGTH, WIDTH, CELL = 4000.0, 400.0, 20.0  # m
DEEP, SHALLOW, BOTTOM, SLOPE = 12.0, 4.0, 120.0, 5.0
CURRENT = 0.3  # m/s over the deepest water
FRAMES, INTERVAL = 3, 1800.0  # s


def depth(y):
    off_bottom = max(0.0, abs(y - WIDTH / 2.0) - BOTTOM / 2.0)
    return max(SHALLOW, DEEP - off_bottom / SLOPE)


def main():
    columns, rows = round(LENGTH / CELL), round(WIDTH / CELL)

    def node(i, j):
        return j * (columns + 1) + i + 1

    nodes = [(i * CELL, j * CELL) for j in range(rows + 1) for i in range(columns + 1)]
    elements = []
    for j in range(rows):
        for i in range(columns):
            a, b, c, d = node(i, j), node(i + 1, j), node(i + 1, j + 1), node(i, j + 1)
            # Diagonals in turn, so that the mesh has no direction of its own.
            elements += [(a, b, c), (a, c, d)] if (i + j) % 2 else [(a, b, d), (b, c, d)]
    west = [node(0, j) for j in range(rows, -1, -1)]
    east = [node(columns, j) for j in range(rows + 1)]
    south = [node(i, 0) for i in range(columns + 1)]
    north = [node(i, rows) for i in range(columns, -1, -1)]

    os.makedirs("data", exist_ok=True)
    with open("data/mesh.14", "w") as f:
        print("ship channel", file=f)
        print(len(elements), len(nodes), file=f)
        for n, (x, y) in enumerate(nodes, 1):
            print(n, f"{x:.1f} {y:.1f} {depth(y):.3f}", file=f)
        for e, corners in enumerate(elements, 1):
            print(e, 3, *corners, file=f)
        for kind, lists in (("open", (west, east)), ("land", (south, north))):
            print(len(lists), "= number of", kind, "boundaries", file=f)
            print(sum(map(len, lists)), file=f)
            for points in lists:
                print(len(points), *([] if kind == "open" else [0]), file=f)
                print(*points, sep="\n", file=f)
    for name, values, row in (
        ("flow.63", 1, lambda y: "0.0"),
        ("flow.64", 2, lambda y: f"{CURRENT * (depth(y) / DEEP) ** 0.5:.5f} 0.0"),
    ):
        with open("data/" + name, "w") as f:
            print("ship channel", file=f)
            print(FRAMES, len(nodes), INTERVAL, round(INTERVAL), values, file=f)
            for frame in range(FRAMES):
                print(frame * INTERVAL, round(frame * INTERVAL), file=f)
                for n, (_, y) in enumerate(nodes, 1):
                    print(n, row(y), file=f)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Writes data/mesh.14, data/flow.63 and data/flow.64: a channel with a hump of sand.

51 by 51 nodes 20 m apart, node (j - 1) 51 + i at column i (along the channel) and row j. The plain
bed lies 5 m deep; the hump is a bell 0.5 m high. The current is steady and goes along x with the same
discharge in every section, 5 m2/s: u = 5 / depth, which is 1 m/s over the plain bed.
"""

import math
import os

NODES = 51  # along each side
STEP = 20.0  # m
DEPTH = 5.0  # m, plain bed
HEIGHT, WIDTH = 0.5, 120.0  # m: crest; distance at which the bell has fallen to 1/e
CENTRE = (350.0, 500.0)
DISCHARGE = 5.0  # m2/s
INTERVAL = 864000.0  # s between the two frames


def depth(x, y):
    r2 = (x - CENTRE[0]) ** 2 + (y - CENTRE[1]) ** 2
    return DEPTH - HEIGHT * math.exp(-r2 / WIDTH**2)


def main():
    os.chdir(os.path.dirname(os.path.abspath(__file__)))
    os.makedirs("data", exist_ok=True)
    places = [(STEP * i, STEP * j) for j in range(NODES) for i in range(NODES)]
    depths = [depth(x, y) for x, y in places]

    elements = []
    for j in range(NODES - 1):
        for i in range(NODES - 1):
            a = j * NODES + i + 1
            elements += [(a, a + 1, a + NODES + 1), (a, a + NODES + 1, a + NODES)]

    with open("data/mesh.14", "w") as out:
        out.write("channel with a hump of sand\n%d %d\n" % (len(elements), len(places)))
        for n, ((x, y), d) in enumerate(zip(places, depths), 1):
            out.write("%d %.3f %.3f %.6f\n" % (n, x, y, d))
        for e, nodes in enumerate(elements, 1):
            out.write("%d 3 %d %d %d\n" % ((e,) + nodes))
        # Open at both ends, walls along the sides; each list follows the rim.
        left = [j * NODES + 1 for j in reversed(range(NODES))]
        right = [j * NODES + NODES for j in range(NODES)]
        bottom = list(range(1, NODES + 1))
        top = list(reversed(range((NODES - 1) * NODES + 1, NODES * NODES + 1)))
        for lists in ((left, right), (bottom, top)):
            out.write("%d\n%d\n" % (len(lists), sum(len(nodes) for nodes in lists)))
            for nodes in lists:
                out.write("%d 0\n" % len(nodes) + "".join("%d\n" % n for n in nodes))

    for name, rows in (
        ("flow.63", ["0."] * len(depths)),
        ("flow.64", ["%.6f 0." % (DISCHARGE / d) for d in depths]),
    ):
        with open("data/" + name, "w") as out:
            values = 1 if name == "flow.63" else 2
            out.write("steady flow\n2 %d %.1f 1 %d\n" % (len(rows), INTERVAL, values))
            for frame in range(2):
                out.write("%.1f %d\n" % (frame * INTERVAL, frame))
                out.writelines("%d %s\n" % row for row in enumerate(rows, 1))
    print("data: %d nodes, %d elements" % (len(places), len(elements)))


if __name__ == "__main__":
    main()

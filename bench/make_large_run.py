#!/usr/bin/env python3
"""Writes a large run into the current folder: 10^6 parcels of fine sand on a mesh of 10^5 nodes.

A closed double gyre of 20 km by 10 km, 10 m deep, three hours. Run it with

    /usr/bin/time -v dfl large.pcf < /dev/null

and read the largest resident memory and the time.
"""
import math

COLUMNS, ROWS = 448, 224
LENGTH, WIDTH, DEPTH = 20000.0, 10000.0, 10.0
SPEED = 0.8
PARCELS = 1000000

nodes = []
for j in range(ROWS):
    for i in range(COLUMNS):
        nodes.append((LENGTH * i / (COLUMNS - 1), WIDTH * j / (ROWS - 1)))
elements = []
for j in range(ROWS - 1):
    for i in range(COLUMNS - 1):
        p = j * COLUMNS + i + 1
        elements.append((p, p + 1, p + COLUMNS))
        elements.append((p + 1, p + COLUMNS + 1, p + COLUMNS))

with open("mesh.14", "w") as f:
    f.write("double gyre\n%d %d\n" % (len(elements), len(nodes)))
    for n, (x, y) in enumerate(nodes, 1):
        f.write("%d %.3f %.3f %.1f\n" % (n, x, y, DEPTH))
    for e, (a, b, c) in enumerate(elements, 1):
        f.write("%d 3 %d %d %d\n" % (e, a, b, c))
    rim = [j * COLUMNS + i + 1 for j, i in
           [(0, i) for i in range(COLUMNS)]
           + [(j, COLUMNS - 1) for j in range(1, ROWS)]
           + [(ROWS - 1, i) for i in range(COLUMNS - 2, -1, -1)]
           + [(j, 0) for j in range(ROWS - 2, -1, -1)]]
    f.write("0\n0\n1\n%d\n%d 0\n" % (len(rim), len(rim)))
    f.write("".join("%d\n" % n for n in rim))

velocity = []
for x, y in nodes:
    kx, ky = 2.0 * math.pi / LENGTH, math.pi / WIDTH
    u = -SPEED * math.sin(kx * x) * math.cos(ky * y)
    v = SPEED * 2.0 * WIDTH / LENGTH * math.cos(kx * x) * math.sin(ky * y)
    velocity.append((u, v))
frames = [0.0, 3600.0, 7200.0, 10800.0, 14400.0]
with open("flow.63", "w") as f:
    f.write("double gyre\n%d %d 3600.0 1 1\n" % (len(frames), len(nodes)))
    for k, t in enumerate(frames):
        f.write("%.1f %d\n" % (t, k))
        f.write("".join("%d 0.0\n" % n for n in range(1, len(nodes) + 1)))
with open("flow.64", "w") as f:
    f.write("double gyre\n%d %d 3600.0 1 2\n" % (len(frames), len(nodes)))
    text = "".join("%d %.5f %.5f\n" % (n, u, v) for n, (u, v) in enumerate(velocity, 1))
    for k, t in enumerate(frames):
        f.write("%.1f %d\n" % (t, k) + text)

with open("large.src", "w") as f:
    f.write("1\n1 1 'fine sand'\n2000 1 1 0 10 0  5000. 5000. 5.0  1. 1500. 2.0  %d.  "
            "0.00010 0.2 2650. -1. -1. -1.\n0\n0\n0\n" % PARCELS)
with open("large.pcf", "w") as f:
    f.write("""\
:mesh_file mesh.14
:mesh_format adcirc
:neighbor_file large.nei
:currents
:flow_format adcirc
:flow_files flow.63 flow.64
:start_flow 2000 1 1 0 0 0
:sediments_format uniform 0.10 0.15 0.20
:source_file large.src
:start_run 2000 1 1 0 0 0
:stop_run 2000 1 1 3 0 0
:time_step 60
:advection_method q3d
:velocity_method 2d (log)
:numerical_scheme 2
:random_seed 12345 67890
:output_prefix large
:output_inc 60
:hyfs_parcels
:population_record
:end_data
""")

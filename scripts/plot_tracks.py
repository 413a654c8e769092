#!/usr/bin/env python3
"""Draws parcel tracks over the mesh as an SVG picture; needs nothing but Python.

usage: plot_tracks.py MESH.14 PREFIX_particles.plt OUT.svg [--every N] [--box xmin ymin xmax ymax]

Water is shaded by depth, land is grey, each source has a colour, and a dot marks where a parcel was
last. Parcels that left the mesh or died keep their track.
"""
import argparse

COLOURS = ["#d62728", "#ff7f0e", "#2ca02c", "#9467bd", "#8c564b", "#e377c2", "#17becf"]


def read_mesh(path):
    with open(path) as f:
        f.readline()
        ne, nn = (int(v) for v in f.readline().split()[:2])
        nodes, elements = {}, []
        for _ in range(nn):
            p = f.readline().split()
            nodes[int(p[0])] = (float(p[1]), float(p[2]), float(p[3]))
        for _ in range(ne):
            elements.append(tuple(int(v) for v in f.readline().split()[2:5]))
    return nodes, elements


def read_tracks(path):
    """Returns {id: (source, [(x, y), ...])} from the frames of a Tecplot parcel file."""
    tracks = {}
    with open(path) as f:
        names = f.readline().split('"')[1::2]
        id_column = names.index("ID")
        source_column = names.index("SOURCE") if "SOURCE" in names else None
        for line in f:
            p = line.split()
            if line.startswith("ZONE") or len(p) < len(names):
                continue
            source = int(float(p[source_column])) if source_column is not None else 0
            rows = tracks.setdefault(int(float(p[id_column])), (source, []))[1]
            rows.append((float(p[0]), float(p[1])))
    return tracks


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("mesh")
    parser.add_argument("particles")
    parser.add_argument("out")
    parser.add_argument("--every", type=int, default=10, help="draw every Nth parcel")
    parser.add_argument("--box", type=float, nargs=4, help="xmin ymin xmax ymax, mesh units")
    o = parser.parse_args()
    nodes, elements = read_mesh(o.mesh)
    xs, ys = [n[0] for n in nodes.values()], [n[1] for n in nodes.values()]
    x0, y0, x1, y1 = o.box or (min(xs), min(ys), max(xs), max(ys))
    width = 1000.0
    scale = width / (x1 - x0)
    height = (y1 - y0) * scale

    def place(x, y):
        return f"{(x - x0) * scale:.1f},{(y1 - y) * scale:.1f}"

    deepest = max(n[2] for n in nodes.values())
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {height:.0f}">',
           f'<rect width="{width:.0f}" height="{height:.0f}" fill="#c9c2b2"/>']
    for element in elements:
        corners = [nodes[n] for n in element]
        if all(c[0] < x0 or c[0] > x1 or c[1] < y0 or c[1] > y1 for c in corners):
            continue
        depth = max(0.0, sum(c[2] for c in corners) / 3)
        shade = min(1.0, (depth / deepest) ** 0.5)
        colour = "#%02x%02x%02x" % (int(236 - 110 * shade), int(244 - 75 * shade), int(248 - 30 * shade))
        points = " ".join(place(c[0], c[1]) for c in corners)
        out.append(f'<polygon points="{points}" fill="{colour}" stroke="{colour}" stroke-width=".5"/>')
    colours = {}
    for number, (source, rows) in sorted(read_tracks(o.particles).items()):
        if number % o.every:
            continue
        colour = colours.setdefault(source, COLOURS[len(colours) % len(COLOURS)])
        points = " ".join(place(x, y) for x, y in rows)
        out.append(f'<polyline points="{points}" fill="none" stroke="{colour}" '
                   f'stroke-width=".8" stroke-opacity=".45"/>')
        x, y = place(*rows[-1]).split(",")
        out.append(f'<circle cx="{x}" cy="{y}" r="2" fill="{colour}"/>')
    for k, (source, colour) in enumerate(sorted(colours.items())):
        y = 24 + 20 * k
        out.append(f'<circle cx="16" cy="{y - 4}" r="5" fill="{colour}"/>'
                   f'<text x="28" y="{y}" font-family="sans-serif" font-size="14">source {source}</text>')
    out.append("</svg>")
    with open(o.out, "w") as f:
        f.write("\n".join(out) + "\n")
    print(f"{o.out}: tracks of every {o.every}th parcel")


if __name__ == "__main__":
    main()

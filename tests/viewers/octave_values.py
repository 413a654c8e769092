#!/usr/bin/python3
"""Writes what check_octave.m has to find: for each variable a line with its name, its sizes as Octave
shows them (the last axis first), and its values in that order, NaN where the fill value stands.

usage: octave_values.py FOLDER OUT_MAPS OUT_PARCELS
"""
import sys

import numpy as np

import expected


def line(name, values):
    values = np.atleast_1d(values)
    sizes = list(reversed(values.shape))
    words = ["NaN" if v != v else repr(float(v)) for v in values.ravel()]
    return "\t".join([name, str(len(sizes))] + [str(s) for s in sizes] + words)


def write(path, raw, names, fill_of):
    with open(path, "w", encoding="utf-8") as out:
        for name in names:
            values = raw[name]
            if values.dtype.kind == "f":
                values = expected.with_nan(values, fill_of(name))
            out.write(line(name, values) + "\n")


def main(folder, out_maps, out_parcels):
    fields = list(expected.SCALARS) + [v + c for v in expected.VECTORS for c in ("_x", "_y")]
    write(out_maps, expected.raw(expected.maps_file(folder)),
          ["time", "mesh_node_x", "mesh_node_y", "mesh_node_z", "mesh_face_nodes"] + fields,
          lambda name: expected.DRY if name == "wse" else expected.GONE)
    write(out_parcels, expected.raw(expected.parcels_file(folder)),
          ["time", "trajectory", "parcels", "x", "y", "z"] + list(expected.BY_TIME) +
          list(expected.CONSTANTS), lambda name: expected.GONE)


if __name__ == "__main__":
    main(*sys.argv[1:4])

#!/usr/bin/python3
"""The values in the HYFS files, read as plain HDF5, are those of the Tecplot text files of the run.

usage: check_text.py FOLDER
"""
import sys

import numpy as np

import expected
from small_run import PREFIX

MAP_COLUMNS = {"Z": "wse", "U": "flow_x", "V": "flow_y", "Bedform Height": "bedforms",
               "Shear Stress": "shear stress", "Mx": "mobility_x", "My": "mobility_y", "BED": "bed",
               "Wave Height": "wave height", "Wave Period": "wave period",
               "Wave Direction": "wave direction", "Concentration": "concentration"}
PARCEL_COLUMNS = {"h": "height", "MOBILITY": "mobility"}
PARCEL_CONSTANTS = {"ID": "id", "SOURCE": "source", "D": "grain size", "RHOs": "density",
                    "MASS": "particle mass", "Ws": "fall velocity",
                    "TAUcr": "critical shear (erosion)"}


def zones(path):
    """The names of the columns, and the rows of each zone as lists of words."""
    names, result = [], []
    with open(path, encoding="utf-8") as file:
        names = file.readline().split('"')[1::2]
        for line in file:
            if line.startswith("ZONE"):
                result.append([])
            elif result and not line.startswith(("ET=", "D=")):
                result[-1].append(line.rstrip("\n"))
    return names, result


def numbers(rows, widths):
    table = []
    for row in rows:
        place, values = 0, []
        for width in widths:
            values.append(float(row[place:place + width]))
            place += width
        table.append(values)
    return np.array(table)


def main(folder):
    check = expected.Checks("text")
    raw = expected.raw(expected.maps_file(folder))
    names, frames = zones(f"{folder}/{PREFIX}_maps.plt")
    frames = frames[1:]  # the first zone holds the values before any flow is read
    check.equal(len(frames), len(expected.MAP_TIMES), "map zones")
    fields = [name for name in names if name not in ("X", "Y")]
    for k, rows in enumerate(frames):
        table = numbers(rows[:expected.NODES], [16] * len(fields))
        for column, dataset in MAP_COLUMNS.items():
            digits = 6 if column == "Bedform Height" else 3
            wanted = raw[dataset][k].astype("f8")
            check.same(table[:, fields.index(column)], wanted, f"{column}, zone {k}",
                       0.51 * 10.0 ** -digits)
        size = np.hypot(raw["sediment transport rate_x"][k].astype("f8"),
                        raw["sediment transport rate_y"][k].astype("f8"))
        check.same(table[:, fields.index("Qs")], size, f"Qs, zone {k}", 0.51e-3)

    raw = expected.raw(expected.parcels_file(folder))
    names, frames = zones(f"{folder}/{PREFIX}_particles.plt")
    widths = [{"ID": 8, "SOURCE": 8, "STATE": 3}.get(name, 12) for name in names]
    digits = {"D": 9, "Ws": 9, "TAUcr": 9}
    check.equal(len(frames), len(expected.PARCEL_TIMES), "parcel zones")
    for k, rows in enumerate(frames):
        table = numbers(rows, widths)
        column = {name: table[:, i] for i, name in enumerate(names)}
        born = len(table)
        check.equal(born, int(raw["parcels"][k]), f"parcels, zone {k}")
        alive = column["STATE"] >= 0
        check.that((raw["x"][k, :born][~alive] == expected.GONE).all(), f"dead parcels, zone {k}")
        for name in ("X", "Y", "Z"):
            check.same(column[name][alive], raw[name.lower()][k, :born][alive], f"{name}, zone {k}",
                       0.51e-3)
        for name, dataset in PARCEL_COLUMNS.items():
            check.same(column[name], raw[dataset][k, :born], f"{name}, zone {k}", 0.51e-3)
        speed = np.sqrt(column["U"] ** 2 + column["V"] ** 2 + column["W"] ** 2)
        check.same(speed[alive], raw["speed"][k, :born][alive], f"speed, zone {k}", 2e-3)
        for name, dataset in PARCEL_CONSTANTS.items():
            # 4-byte values: seven digits
            check.same(column[name], raw[dataset][:born], f"{name}, zone {k}",
                       0.51 * 10.0 ** -digits.get(name, 3))
    check.finish()


if __name__ == "__main__":
    main(sys.argv[1])

#!/usr/bin/env python3
"""Writes the parcels of a HYFS file as a table, for QGIS, spreadsheets and databases.

usage: parcels_to_csv.py PREFIX_particles.h5 OUT.csv [--every N] [--frames N]

A row is a parcel that is in the water at a frame: time, number, x, y, z, and what else the file holds.
QGIS opens the table by Layer > Add Layer > Add Delimited Text Layer. Needs python3-h5py.
"""
import argparse
import csv
import datetime

import h5py

GONE = -9999.9


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("particles")
    parser.add_argument("out")
    parser.add_argument("--every", type=int, default=1, help="take every Nth parcel")
    parser.add_argument("--frames", type=int, default=1, help="take every Nth frame")
    o = parser.parse_args()
    rows = 0
    with h5py.File(o.particles, "r") as file, open(o.out, "w", newline="", encoding="utf-8") as out:
        units = file["time"].attrs["units"]
        units = units.decode() if isinstance(units, bytes) else str(units)
        start = datetime.datetime.fromisoformat(units.split("since ")[1])
        data = {name: item for name, item in file.items() if isinstance(item, h5py.Dataset)}
        by_time = sorted(n for n, d in data.items() if d.ndim == 2 and n not in ("x", "y", "z"))
        constants = sorted(n for n, d in data.items()
                           if d.ndim == 1 and n not in ("time", "trajectory", "parcels"))
        fixed = [data[name][:] for name in constants]
        table = csv.writer(out)
        table.writerow(["time", "parcel", "x", "y", "z"] + by_time + constants)
        for k in range(0, len(data["time"]), o.frames):
            date = start + datetime.timedelta(seconds=float(data["time"][k]))
            x, y, z = (data[name][k] for name in ("x", "y", "z"))
            values = [data[name][k] for name in by_time]
            for i in range(0, int(data["parcels"][k]), o.every):
                if x[i] == GONE:
                    continue
                table.writerow([date.isoformat(), i + 1, x[i], y[i], z[i]] +
                               [v[i] for v in values] + [f[i] if i < len(f) else "" for f in fixed])
                rows += 1
    print(f"{o.out}: {rows} rows")


if __name__ == "__main__":
    main()

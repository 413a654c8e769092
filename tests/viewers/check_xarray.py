#!/usr/bin/python3
"""Opens maps and parcels in xarray.

usage: check_xarray.py FOLDER
"""
import sys

import numpy as np
import xarray as xr

import expected
from small_run import PREFIX


def check_times(check, dataset, seconds, what):
    wanted = [expected.START + np.timedelta64(int(t), "s") for t in seconds]
    check.that((dataset.time.values == np.array(wanted, "M8[ns]")).all(), f"{what}: dates of time")


def check_maps(check, folder):
    path = expected.maps_file(folder)
    raw = expected.raw(path)
    with xr.open_dataset(path) as maps:
        check_times(check, maps, expected.MAP_TIMES, "maps")
        fields = set(expected.SCALARS) | {v + c for v in expected.VECTORS for c in ("_x", "_y")}
        mesh = {"mesh", "mesh_node_x", "mesh_node_y", "mesh_node_z", "mesh_face_nodes", "time",
                "projected_coordinate_system"}
        check.equal(set(maps.variables), fields | mesh, "variables")
        check.equal(dict(maps.sizes), {"time": 4, "mesh_node": expected.NODES,
                                       "mesh_face": expected.FACES, "mesh_max_face_nodes": 3}, "sizes")
        for name in sorted(fields):
            fill = expected.DRY if name == "wse" else expected.GONE
            check.equal(maps[name].dims, ("time", "mesh_node"), name)
            check.same(maps[name].values, expected.with_nan(raw[name], fill), name)
            unit = expected.SCALARS.get(name, expected.VECTORS.get(name[:-2], ""))
            check.equal(maps[name].attrs.get("units", ""), unit, name + ", units")
        check.equal(int(np.isnan(maps["wse"].values).sum()), 2, "dry values of wse")
        for name in ("mesh_node_x", "mesh_node_y", "mesh_node_z", "mesh_face_nodes"):
            check.same(maps[name].values, raw[name], name)


def check_parcels(check, folder):
    path = expected.parcels_file(folder)
    raw = expected.raw(path)
    with xr.open_dataset(path) as parcels:
        check_times(check, parcels, expected.PARCEL_TIMES, "parcels")
        wanted = {"x", "y", "z"} | set(expected.BY_TIME) | set(expected.CONSTANTS)
        check.equal(set(parcels.variables), wanted | {"time", "trajectory", "parcels"}, "variables")
        for name in sorted(wanted):
            constant = name in expected.CONSTANTS
            check.equal(parcels[name].dims, ("trajectory",) if constant else ("time", "trajectory"),
                        name)
            check.same(parcels[name].values, expected.with_nan(raw[name], expected.GONE), name)
        for name, unit in {**expected.BY_TIME, **expected.CONSTANTS}.items():
            check.equal(parcels[name].attrs.get("units", ""), unit, name + ", units")
        check.equal(parcels["x"].attrs.get("units"), "m", "x, units")
        check.equal(set(parcels.coords), {"time", "trajectory", "x", "y", "z"}, "coordinates")
        check.that((np.diff(parcels["parcels"].values) > 0).all(), "parcels released grow")
        there = np.isfinite(parcels["x"].values).sum(axis=1)
        check.that((there < parcels["parcels"].values).any(), "some parcels are gone")
        check.that((there > 0).all(), "some parcels are there")
        track = parcels.isel(trajectory=41)
        check.same(track["x"].values, expected.with_nan(raw["x"][:, 41], expected.GONE), "one track")
    with xr.open_dataset(path, group=PREFIX + "_particles") as group:
        check.same(group["x"].values, expected.with_nan(raw["x"], expected.GONE), "x in the group")


def main(folder):
    check = expected.Checks("xarray " + xr.__version__)
    check_maps(check, folder)
    check_parcels(check, folder)
    check.finish()


if __name__ == "__main__":
    main(sys.argv[1])

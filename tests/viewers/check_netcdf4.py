#!/usr/bin/python3
"""Opens maps and parcels in netCDF4 and checks what UGRID and CF ask of the attributes.

usage: check_netcdf4.py FOLDER
"""
import datetime
import sys

import netCDF4
import numpy as np

import expected
from small_run import PREFIX


def filled(variable):
    values = np.ma.masked_array(variable[:])
    return np.where(np.ma.getmaskarray(values), np.nan, values.data.astype("f8"))


def check_times(check, dataset, seconds, what):
    time = dataset["time"]
    start = datetime.datetime.fromisoformat(str(expected.START))
    wanted = [start + datetime.timedelta(seconds=t) for t in seconds]
    dates = netCDF4.num2date(time[:], time.units, time.calendar, only_use_cftime_datetimes=False,
                             only_use_python_datetimes=True)
    check.equal(list(dates), wanted, f"{what}: dates of time")
    check.that(dataset.dimensions["time"].isunlimited(), f"{what}: time is unlimited")


def check_topology(check, maps):
    mesh = maps["mesh"]
    check.equal(mesh.cf_role, "mesh_topology", "cf_role")
    check.equal(int(mesh.topology_dimension), 2, "topology_dimension")
    check.that("UGRID-1.0" in maps.Conventions, "Conventions name UGRID-1.0")
    for name in mesh.node_coordinates.split():
        check.equal(maps[name].dimensions, ("mesh_node",), name)
    faces = maps[mesh.face_node_connectivity]
    check.equal(faces.dimensions, ("mesh_face", "mesh_max_face_nodes"), "connectivity")
    check.equal(int(faces.start_index), 0, "start_index")
    corners = faces[:]
    check.that(corners.min() == 0 and corners.max() == expected.NODES - 1, "nodes of the faces")
    x, y = (maps[name][:][corners] for name in mesh.node_coordinates.split())
    area = 0.5 * ((x[:, 1] - x[:, 0]) * (y[:, 2] - y[:, 0]) - (x[:, 2] - x[:, 0]) * (y[:, 1] - y[:, 0]))
    check.that((area == 5000.0).all(), "faces are counter-clockwise, 5000 m2 each")
    check.equal(int(maps["projected_coordinate_system"].epsg), 32633, "epsg")


def main(folder):
    check = expected.Checks("netCDF4 " + netCDF4.__version__)
    path = expected.maps_file(folder)
    raw = expected.raw(path)
    with netCDF4.Dataset(path) as maps:
        check_times(check, maps, expected.MAP_TIMES, "maps")
        check_topology(check, maps)
        fields = list(expected.SCALARS) + [v + c for v in expected.VECTORS for c in ("_x", "_y")]
        for name in fields:
            variable = maps[name]
            check.equal((variable.mesh, variable.location), ("mesh", "node"), name)
            check.equal(variable.dtype, np.dtype("f4"), name + ", type")
            check.that("direction" not in variable.ncattrs() and
                       "direction" not in getattr(variable, "long_name", ""), name + ", long_name")
            fill = expected.DRY if name == "wse" else expected.GONE
            check.equal(variable._FillValue, np.float32(fill), name + ", _FillValue")
            check.same(filled(variable), expected.with_nan(raw[name], fill), name)
        for name in expected.VECTORS:
            pair = [maps[name + c].long_name for c in ("_x", "_y")]
            check.equal(pair, [name + ", x-component", name + ", y-component"], "long_name of a pair")

    path = expected.parcels_file(folder)
    raw = expected.raw(path)
    with netCDF4.Dataset(path) as parcels:
        check_times(check, parcels, expected.PARCEL_TIMES, "parcels")
        check.equal(parcels.featureType, "trajectory", "featureType")
        check.equal(parcels["trajectory"].cf_role, "trajectory_id", "cf_role")
        check.equal(list(parcels["trajectory"][:]), list(range(1, 111)), "trajectory")
        for name in ["x", "y", "z"] + list(expected.BY_TIME) + list(expected.CONSTANTS):
            check.same(filled(parcels[name]), expected.with_nan(raw[name], expected.GONE), name)
        group = parcels
        for part in (PREFIX + "_particles").split("/"):
            group = group.groups[part]
        check.same(filled(group["y"]), expected.with_nan(raw["y"], expected.GONE), "y in the group")
    check.finish()


if __name__ == "__main__":
    main(sys.argv[1])

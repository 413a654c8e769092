#!/usr/bin/python3
"""Opens the maps in QGIS as a mesh layer, and the parcels as a layer of points made by
scripts/parcels_to_csv.py.

usage: check_qgis.py FOLDER CSV
"""
import os
import sys

os.environ["QT_QPA_PLATFORM"] = "offscreen"

import numpy as np
from qgis.core import (Qgis, QgsApplication, QgsMeshDatasetIndex, QgsMeshLayer, QgsMesh,
                       QgsVectorLayer)
from qgis.PyQt.QtCore import QUrl, QUrlQuery

import expected


def layer_times(provider, group):
    """Hours after the reference time."""
    count = provider.datasetCount(QgsMeshDatasetIndex(group, 0))
    return [provider.datasetMetadata(QgsMeshDatasetIndex(group, k)).time() for k in range(count)]


def values(provider, group, frame, scalar):
    block = provider.datasetValues(QgsMeshDatasetIndex(group, frame), 0, expected.NODES)
    if scalar:
        return [block.value(i).scalar() for i in range(expected.NODES)]
    return [[block.value(i).x(), block.value(i).y()] for i in range(expected.NODES)]


def check_maps(check, folder):
    path = os.path.abspath(expected.maps_file(folder))
    raw = expected.raw(path)
    layer = QgsMeshLayer(path, "maps", "mdal")
    if not check.that(layer.isValid(), "the mesh layer is valid"):
        return
    provider = layer.dataProvider()
    check.equal(layer.crs().authid(), "EPSG:32633", "coordinate system")
    check.equal((provider.vertexCount(), provider.faceCount()), (expected.NODES, expected.FACES), "mesh")
    mesh = QgsMesh()
    provider.populateMesh(mesh)
    points = [mesh.vertex(i) for i in range(expected.NODES)]
    check.same([[p.x(), p.y(), p.z()] for p in points],
               np.column_stack([raw["mesh_node_x"], raw["mesh_node_y"], raw["mesh_node_z"]]), "vertices")
    check.same([mesh.face(i) for i in range(expected.FACES)], raw["mesh_face_nodes"], "faces")

    groups = {}
    for group in range(provider.datasetGroupCount()):
        data = provider.datasetGroupMetadata(QgsMeshDatasetIndex(group, 0))
        groups[data.name()] = (group, data)
    check.equal(set(groups) - {"Bed Elevation"}, set(expected.SCALARS) | set(expected.VECTORS), "groups")
    for name, (group, data) in groups.items():
        scalar = name not in expected.VECTORS
        check.equal(data.isScalar(), scalar, f"{name} is scalar")
        check.equal(data.dataType(), data.DataOnVertices, f"{name} lies on vertices")
        if name == "Bed Elevation":
            check.same(values(provider, group, 0, True), raw["mesh_node_z"], name)
            continue
        check.same(layer_times(provider, group), np.array(expected.MAP_TIMES) / 3600.0,
                   f"{name}, times", 1e-9)
        check.equal(data.referenceTime().toString("yyyy-MM-dd hh:mm:ss"), "2000-01-01 00:00:00",
                    f"{name}, reference time")
        for k in range(len(expected.MAP_TIMES)):
            if scalar:
                fill = expected.DRY if name == "wse" else expected.GONE
                wanted = expected.with_nan(raw[name][k], fill)
            else:
                wanted = np.column_stack([raw[name + "_x"][k], raw[name + "_y"][k]])
            check.same(values(provider, group, k, scalar), wanted, f"{name}, frame {k}")


def check_parcels(check, folder, table):
    raw = expected.raw(expected.parcels_file(folder))
    url = QUrl.fromLocalFile(os.path.abspath(table))
    query = QUrlQuery()
    for key, word in (("type", "csv"), ("xField", "x"), ("yField", "y"), ("crs", "EPSG:32633"),
                      ("detectTypes", "yes")):
        query.addQueryItem(key, word)
    url.setQuery(query)
    layer = QgsVectorLayer(bytes(url.toEncoded()).decode(), "parcels", "delimitedtext")
    if not check.that(layer.isValid(), "the point layer is valid"):
        return
    there = raw["x"] != expected.GONE
    for k in range(len(there)):
        there[k, int(raw["parcels"][k]):] = False
    check.equal(layer.featureCount(), int(there.sum()), "points")
    names = [field.name() for field in layer.fields()]
    check.equal(names, ["time", "parcel", "x", "y", "z"] + sorted(expected.BY_TIME) +
                sorted(expected.CONSTANTS), "fields")
    check.equal(layer.fields().field("time").typeName(), "datetime", "type of time")
    start = np.datetime64(str(expected.START))
    rows = []
    for feature in layer.getFeatures():
        point = feature.geometry().asPoint()
        date = np.datetime64(feature["time"].toString("yyyy-MM-ddThh:mm:ss"))
        rows.append([(date - start) / np.timedelta64(1, "s"), feature["parcel"], point.x(), point.y(),
                     feature["z"], feature["height"], feature["source"]])
    rows = np.array(sorted(rows))
    frame, parcel = np.nonzero(there)
    wanted = np.column_stack([np.array(expected.PARCEL_TIMES)[frame], parcel + 1.0,
                              raw["x"][frame, parcel], raw["y"][frame, parcel], raw["z"][frame, parcel],
                              raw["height"][frame, parcel], raw["source"][parcel]])
    check.same(rows, wanted, "time, parcel, place, height and source of the points", 1e-6)


def main(folder, table):
    application = QgsApplication([], False)
    application.initQgis()
    check = expected.Checks("QGIS " + Qgis.QGIS_VERSION)
    check_maps(check, folder)
    check_parcels(check, folder, table)
    check.finish()


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])

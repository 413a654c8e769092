"""Opens maps and parcels in ParaView through their sidecars, frame by frame.

usage: pvbatch check_paraview.py FOLDER
"""
import os
import sys

# pvbatch leaves the folder of the script out of the path.
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import numpy as np
from paraview import servermanager
from paraview.simple import Calculator, GetParaViewVersion, Threshold, UpdatePipeline, XDMFReader
from vtkmodules.util.numpy_support import vtk_to_numpy

import expected


def piece(reader, time):
    UpdatePipeline(time=time, proxy=reader)
    data = servermanager.Fetch(reader)
    return data.GetBlock(0) if data.IsA("vtkMultiBlockDataSet") else data


def arrays(data):
    fields = data.GetPointData()
    return {fields.GetArrayName(i): vtk_to_numpy(fields.GetArray(i))
            for i in range(fields.GetNumberOfArrays())}


def open_sidecar(check, path, times):
    reader = XDMFReader(FileNames=[os.path.abspath(path)])
    reader.UpdatePipelineInformation()
    check.equal(list(reader.TimestepValues), times, os.path.basename(path) + ", times")
    return reader


def check_maps(check, folder):
    raw = expected.raw(expected.maps_file(folder))
    reader = open_sidecar(check, expected.maps_file(folder)[:-3] + ".xmf", expected.MAP_TIMES)
    for k, time in enumerate(expected.MAP_TIMES):
        data = piece(reader, time)
        points = vtk_to_numpy(data.GetPoints().GetData())
        check.same(points[:, 0], raw["mesh_node_x"], "x of the points")
        check.same(points[:, 1], raw["mesh_node_y"], "y of the points")
        check.same(points[:, 2], raw["mesh_node_z"], "z of the points")
        check.equal(data.GetNumberOfCells(), expected.FACES, "cells")
        corners = [[data.GetCell(c).GetPointId(i) for i in range(3)] for c in range(expected.FACES)]
        check.same(corners, raw["mesh_face_nodes"], "corners of the cells")
        found = arrays(data)
        check.equal(set(found), set(expected.SCALARS) | set(expected.VECTORS), "arrays")
        for name in expected.SCALARS:
            check.same(found[name], raw[name][k], f"{name} at {time} s")
        for name in expected.VECTORS:
            check.same(found[name][:, 0], raw[name + "_x"][k], f"{name}, x at {time} s")
            check.same(found[name][:, 1], raw[name + "_y"][k], f"{name}, y at {time} s")
            check.same(found[name][:, 2], np.zeros(expected.NODES), f"{name}, z at {time} s")


def check_parcels(check, folder):
    raw = expected.raw(expected.parcels_file(folder))
    reader = open_sidecar(check, expected.parcels_file(folder)[:-3] + ".xmf", expected.PARCEL_TIMES)
    for k, time in enumerate(expected.PARCEL_TIMES):
        data = piece(reader, time)
        born = int(raw["parcels"][k])
        points = vtk_to_numpy(data.GetPoints().GetData())
        for axis, name in enumerate("xyz"):
            check.same(points[:, axis], raw[name][k, :born], f"{name} at {time} s")
        found = arrays(data)
        check.equal(set(found), set(expected.BY_TIME) | set(expected.CONSTANTS), "arrays")
        for name in expected.BY_TIME:
            check.same(found[name], raw[name][k, :born], f"{name} at {time} s")
        for name in expected.CONSTANTS:
            check.same(found[name], raw[name][:born], f"{name} at {time} s")

    # As the guide says: parcels that are gone are hidden by a threshold on a coordinate.
    coordinate = Calculator(Input=reader, Function="coordsX", ResultArrayName="px")
    there = Threshold(Input=coordinate, Scalars=["POINTS", "px"],
                      ThresholdMethod="Above Upper Threshold", UpperThreshold=-9999.0)
    for k, time in enumerate(expected.PARCEL_TIMES):
        wanted = int((raw["x"][k, :int(raw["parcels"][k])] > -9999.0).sum())
        check.equal(piece(there, time).GetNumberOfPoints(), wanted, f"parcels there at {time} s")


def main(folder):
    check = expected.Checks(f"ParaView {GetParaViewVersion()}")
    check_maps(check, folder)
    check_parcels(check, folder)
    check.finish()


main(sys.argv[1])

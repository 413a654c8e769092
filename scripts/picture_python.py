#!/usr/bin/python3
"""Draws waves, parcels and the throat's traffic of examples/inlet_waves with xarray and matplotlib.

usage: picture_python.py PREFIX OUT.png [HOURS]

Needs python3-xarray, python3-netcdf4 and python3-matplotlib.
"""
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
import numpy as np
import xarray as xr


def hours_of(dataset):
    return (dataset.time - dataset.time[0]).values / np.timedelta64(1, "h")


def main(prefix, picture, hours=24.0):
    maps = xr.open_dataset(prefix + "_maps.h5")
    parcels = xr.open_dataset(prefix + "_particles.h5")
    start = maps.time.values[0]
    date = start + np.timedelta64(int(3600 * hours), "s")
    frame = maps.sel(time=date)
    x, y, faces = maps.mesh_node_x.values, maps.mesh_node_y.values, maps.mesh_face_nodes.values
    figure, axes = plt.subplots(2, 2, figsize=(9.6, 7.6), constrained_layout=True)

    # Waves, with arrows in the direction of travel: degrees clockwise from the +y axis.
    a = axes[0, 0]
    shown = a.tripcolor(x, y, faces, frame["wave height"].values, shading="gouraud", cmap="YlGnBu",
                        vmin=0.0, vmax=2.0)
    figure.colorbar(shown, ax=a, label="wave height (m)")
    angle = np.radians(frame["wave direction"].values)
    some = np.arange(0, len(x), 11)
    some = some[frame["wave height"].values[some] > 0.1]
    a.quiver(x[some], y[some], np.sin(angle[some]), np.cos(angle[some]), scale=30, width=0.003)
    a.set_title(f"waves, {hours:g} h after the start")

    a = axes[0, 1]
    shown = a.tripcolor(x, y, faces, np.log10(np.maximum(frame["concentration"].values, 1e-4)),
                        shading="gouraud", cmap="OrRd", vmin=-3.0, vmax=1.0)
    figure.colorbar(shown, ax=a, label="concentration, log10 of g/m3")
    a.set_title(f"concentration, {hours:g} h after the start")

    a = axes[1, 0]
    a.tripcolor(x, y, faces, maps.mesh_node_z.values, shading="gouraud", cmap="Greys_r", vmin=-16.0,
                vmax=6.0)
    last = parcels.isel(time=-1)
    colours = ["tab:orange", "tab:green", "tab:red", "tab:purple", "tab:brown"]
    for number, name in enumerate(("dumped sand", "sand from a pipe", "tracer", "fine sand", "silt"), 1):
        here = last.source == number
        a.plot(last.x[here], last.y[here], ".", ms=2, color=colours[number - 1], label=name)
    a.legend(fontsize=7, markerscale=4, loc="lower right")
    a.set_title("parcels at the end")
    for a in axes.flat[:3]:
        a.set_aspect("equal")
        a.set_xlim(-2800.0, 2800.0)
        a.set_ylim(-2600.0, 2650.0)
        a.tick_params(labelsize=7)

    # How many parcels of sand and silt are in the bay, against the current in the throat.
    a = axes[1, 1]
    throat = int(np.argmin(x ** 2 + (y - 340.0) ** 2))
    a.plot(hours_of(maps), maps["flow_y"].isel(mesh_node=throat), color="tab:blue")
    a.axhline(0.0, color="tab:blue", lw=0.5)
    a.set_ylabel("current into the bay (m/s)", color="tab:blue")
    a.set_xlabel("hours after the start")
    a.set_title("throat")
    b = a.twinx()
    since = (parcels.time.values - start) / np.timedelta64(1, "h")
    for number in (1, 2, 4):
        inside = ((parcels.y > 340.0) & (parcels.source == number)).sum("trajectory")
        b.plot(since, inside, color=colours[number - 1])
    b.set_ylabel("sand parcels in the bay (colours as on the left)")
    figure.savefig(picture, dpi=80)
    print(picture)


main(*sys.argv[1:3], *(float(word) for word in sys.argv[3:4]))

"""What the viewers have to show of the small run: names by hand, values through plain HDF5."""
import os

import h5py
import numpy as np

from small_run import PREFIX

START = np.datetime64("2000-01-01T00:00:00")
MAP_TIMES = [0.0, 600.0, 1200.0, 1800.0]                # steps 1, 61, 121, 181 of 10 s
PARCEL_TIMES = [300.0, 600.0, 900.0, 1200.0, 1500.0, 1800.0]  # from the first release on
SCALARS = {"wse": "m", "wave height": "m", "wave period": "s", "wave direction": "deg",
           "shear stress": "Pa", "bedforms": "", "dzdt": "m/s", "bed": "m", "concentration": "g/m3"}
VECTORS = {"flow": "m/s", "mobility": "", "sediment transport rate": "kg/m/s"}
BY_TIME = {"speed": "m/s", "state": "", "age": "", "height": "m", "mobility": ""}
CONSTANTS = {"id": "", "source": "", "grain size": "mm", "density": "kg/m^3", "particle mass": "kg",
             "fall velocity": "m/s", "critical shear (erosion)": "m/s",
             "critical shear (deposition)": "m/s"}
NODES, FACES = 25, 32
DRY = -99999.0
GONE = -9999.9


def maps_file(folder):
    return os.path.join(folder, PREFIX + "_maps.h5")


def parcels_file(folder):
    return os.path.join(folder, PREFIX + "_particles.h5")


def raw(path):
    """Every dataset of the root as it stands in the file."""
    with h5py.File(path, "r") as file:
        return {name: item[()] for name, item in file.items()
                if isinstance(item, h5py.Dataset) and item.shape != (0,)}


def with_nan(values, fill):
    return np.where(values == np.asarray(fill, values.dtype), np.nan, values.astype("f8"))


class Checks:
    """Counts what was compared; any difference is printed and makes the test fail."""

    def __init__(self, viewer):
        self.viewer, self.count, self.faults = viewer, 0, 0

    def that(self, condition, text):
        self.count += 1
        if not condition:
            self.faults += 1
            print("FAULT:", text)
        return bool(condition)

    def equal(self, got, want, text):
        return self.that(got == want, f"{text}: {got!r}, expected {want!r}")

    def same(self, got, want, text, tolerance=0.0):
        """Arrays of one shape, NaN at the same places, values equal within the tolerance."""
        got, want = np.asarray(got, "f8"), np.asarray(want, "f8")
        if not self.equal(got.shape, want.shape, text + ", shape"):
            return False
        difference = np.abs(got - want)
        fits = (difference <= tolerance) | (np.isnan(got) & np.isnan(want))
        worst = "" if fits.all() else f"first {got[~fits][:3]}, expected {want[~fits][:3]}"
        return self.that(fits.all(), f"{text}: {np.count_nonzero(~fits)} of {fits.size} values: {worst}")

    def finish(self):
        print(f"{self.viewer}: {self.count} checks, {self.faults} faults")
        raise SystemExit(1 if self.faults or self.count == 0 else 0)

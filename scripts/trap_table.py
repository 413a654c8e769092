#!/usr/bin/env python3
"""Sums up the trap reports of a run by source.

usage: trap_table.py PREFIX

PREFIX_count.out: mass counted by each trap. PREFIX_residency.out: hours in each polygon, the sum of the
stays of a parcel. Source and mass of a parcel come from PREFIX_particles.h5 (:source_output,
:parcel_mass_output). Needs python3-h5py.
"""
import collections
import os
import statistics
import sys

import h5py


def parcels(prefix):
    with h5py.File(prefix + "_particles.h5", "r") as file:
        return [int(s) for s in file["source"][:]], [float(m) for m in file["particle mass"][:]]


def counts(path, source, mass):
    total, entries = collections.defaultdict(float), collections.Counter()
    with open(path) as file:
        file.readline()
        for line in file:
            words = line.split()
            if len(words) not in (5, 7) or not words[0].isdigit():
                continue
            parcel, trap = int(words[3]), int(words[4])
            total[trap, source[parcel - 1]] += mass[parcel - 1]
            entries[trap, source[parcel - 1]] += 1
    sources = sorted(set(source))
    print("kg counted" + "".join(f"{'source ' + str(s):>12}" for s in sources) + f"{'all':>12}")
    for trap in sorted({trap for trap, _ in total}):
        row = [total[trap, s] for s in sources]
        print(f"  trap {trap:<3}" + "".join(f"{kg:12.0f}" for kg in row + [sum(row)]))
        row = [entries[trap, s] for s in sources]
        print("   times  " + "".join(f"{n:12d}" for n in row + [sum(row)]))


def residence(path, source):
    hours = collections.defaultdict(lambda: collections.defaultdict(float))
    with open(path) as file:
        file.readline()
        for line in file:
            parcel, trap, seconds = int(line[:8]), int(line[8:16]), float(line.split()[-1])
            hours[trap, source[parcel - 1]][parcel] += seconds / 3600.0
    print("polygon  source  parcels  median h    mean h     max h")
    for (trap, s), stays in sorted(hours.items()):
        h = list(stays.values())
        print(f"{trap:7d}{s:8d}{len(h):9d}{statistics.median(h):10.2f}{statistics.fmean(h):10.2f}"
              f"{max(h):10.2f}")


def main():
    if len(sys.argv) != 2:
        raise SystemExit(__doc__)
    prefix = sys.argv[1]
    source, mass = parcels(prefix)
    reports = 0
    if os.path.exists(prefix + "_count.out"):
        counts(prefix + "_count.out", source, mass)
        reports += 1
    if os.path.exists(prefix + "_residency.out"):
        residence(prefix + "_residency.out", source)
        reports += 1
    if reports == 0:
        raise SystemExit(f"neither {prefix}_count.out nor {prefix}_residency.out is there")


if __name__ == "__main__":
    main()

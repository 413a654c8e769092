#!/usr/bin/python3
"""A small run for the viewers: a basin of 4 by 4 cells of 100 m with a corner that is dry for a while,
waves, every map field, and parcels that are not released yet, in motion, and gone.

usage: small_run.py DFL FOLDER    makes FOLDER and runs DFL in it
"""
import os
import shutil
import subprocess
import sys

PREFIX = "out/run é 1"
START = "2000-01-01 00:00:00"
CELLS, SIZE, STEP = 4, 100.0, 10
X0, Y0 = 500000.0, 4100000.0  # zone 33 north
FRAMES = 5                    # flow frames, one in 600 s


def node(i, j):
    return j * (CELLS + 1) + i + 1


def write_mesh(path):
    lines = ["basin", f"{2 * CELLS * CELLS} {(CELLS + 1) ** 2}"]
    for j in range(CELLS + 1):
        for i in range(CELLS + 1):
            lines.append(f"{node(i, j)} {X0 + SIZE * i} {Y0 + SIZE * j} {5 + 0.25 * i - 0.125 * j}")
    element = 0
    for j in range(CELLS):
        for i in range(CELLS):
            for corners in ((node(i, j), node(i + 1, j), node(i + 1, j + 1)),
                            (node(i, j), node(i + 1, j + 1), node(i, j + 1))):
                element += 1
                lines.append(f"{element} 3 {corners[0]} {corners[1]} {corners[2]}")
    right = [node(CELLS, j) for j in range(CELLS + 1)]
    rest = ([node(i, CELLS) for i in range(CELLS, -1, -1)] +
            [node(0, j) for j in range(CELLS - 1, -1, -1)] + [node(i, 0) for i in range(1, CELLS + 1)])
    lines += ["1", str(len(right)), str(len(right))] + [str(n) for n in right]
    lines += ["1", str(len(rest)), f"{len(rest)} 0"] + [str(n) for n in rest]
    write(path, lines)


def write_flow(path, values):
    nodes = (CELLS + 1) ** 2
    lines = ["flow", f"{FRAMES} {nodes} 600. 60 {values}"]
    for frame in range(FRAMES):
        lines.append(f"{600.0 * frame} {60 * frame}")
        for n in range(1, nodes + 1):
            dry = n == node(0, 0) and frame < 2
            if values == 1:
                lines.append(f"{n} {-99999 if dry else 0.01 * n + 0.1 * frame}")
            else:
                lines.append(f"{n} {0.4 + 0.01 * frame} {0.002 * n}")
    write(path, lines)


def write_waves():
    write("waves.swn", ["$ waves", "SET LEVEL=0.0 NAUTICAL",
                        f"CGRID REG {X0 - 50.0} {Y0 - 50.0} 0. 600. 600. 6 6 CIRCLE 36 0.05 0.8 24",
                        "BLOCK 'COMPGRID' NOHEADER 'h.blk' LAYOUT 3 HSIGN",
                        "COMPUTE STAT 20000101.000000", "COMPUTE STAT 20000101.003000", "STOP"])
    for name, first in (("h.blk", 0.5), ("t.blk", 5.0), ("q.blk", 200.0)):
        lines = []
        for frame in range(2):
            for j in range(7):
                lines.append(" ".join(str(first + frame + 0.1 * j + 0.01 * i) for i in range(7)))
        write(name, lines)


def write(path, lines):
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join(lines) + "\n")


def control():
    return [":mesh_file basin.14", ":neighbor_file basin.nei", ":currents",
            ":flow_files basin.63 basin.64", ":start_flow 2000 1 1 0 0 0",
            ":sediments_format uniform 0.1 0.2 0.5", ":source_file basin.src",
            ":waves", ":wave_format swan", ":wave_sim_file waves.swn", ":wave_files 1",
            "h.blk", "t.blk", "q.blk",
            ":start_run 2000 1 1 0 0 0", ":duration 1800", f":time_step {STEP}",
            ":random_seed 12345 67890", f":output_prefix {PREFIX}", ":crs EPSG:32633",
            ":output_inc 30", ":mapping_inc 60", ":hyfs_compressed", ":tecplot_parcels", ":tecplot_maps",
            ":source_output", ":grain_size_output", ":density_output", ":parcel_mass_output",
            ":mobility_output", ":height_output", ":state_output", ":flow_output",
            ":fall_velocity_output", ":tau_cr_output",
            ":flow_mapping", ":bedform_mapping", ":shear_stress_mapping", ":mobility_mapping",
            ":wave_mapping", ":bed_level_change_mapping", ":transport_mapping", ":bed_level_mapping",
            ":gaussian_concentration 0.5", ":concentration_units 1000", ":end_data"]


def sources():
    x, y = X0, Y0
    return ["1", "1 1 'light'",
            f"2000 1 1 0 0 10 {x + 250} {y + 210} 2. 1. 10. 0. 20. 0.0001 0. 1000. 0. -1. -1.",
            "1", "2 2 'sand'",
            f"2000 1 1 0 0 0 {x + 130} {y + 180} 2. 1. 5. 0. 0.05 0.0002 0.3 2650. -1. -1. -1.",
            f"2000 1 1 1 0 0 {x + 130} {y + 180} 2. 1. 5. 0. 0.05 0.0002 0.3 2650. -1. -1. -1.",
            "0", "0"]


def main():
    dfl, folder = os.path.abspath(sys.argv[1]), sys.argv[2]
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(os.path.join(folder, "out"))
    os.chdir(folder)
    write_mesh("basin.14")
    write_flow("basin.63", 1)
    write_flow("basin.64", 2)
    write_waves()
    write("basin.src", sources())
    write("basin.pcf", control())
    with open("console.txt", "w", encoding="utf-8") as console:
        subprocess.run([dfl, "basin.pcf", "--exit-code"], stdin=subprocess.DEVNULL, stdout=console,
                       check=True)


if __name__ == "__main__":
    main()

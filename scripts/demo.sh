#!/usr/bin/env bash
# Installs what is missing, builds DFL, runs the inlet example and says where the results are.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/install.sh

cmake --preset release
cmake --build --preset release -j "$(nproc)" --target dfl

cd examples/inlet
../../build/dfl inlet.pcf --exit-code < /dev/null
if command -v python3 > /dev/null; then
  python3 ../../scripts/plot_tracks.py data/mesh.14 inlet_particles.plt inlet_tracks.svg --every 20
fi

cat <<'TEXT'

The results are in examples/inlet:

  inlet_balance.txt     what became of the parcels and of the material, by source and cause
  inlet_tracks.svg      tracks over the mesh, for any web browser
  inlet_particles.h5    parcels by time: NetCDF-4, for xarray, netCDF4, ncdump, Octave
                        python3 -c 'import xarray; print(xarray.open_dataset("inlet_particles.h5"))'
  inlet_particles.xmf   the same for ParaView (File > Open, "XDMF Reader")
  inlet_particles.plt   parcels by time as text (Tecplot), inlet_paths.plt the same by parcel
  inlet_population.plt  counts at every step
  inlet.input           what the run was asked to do, and its log
TEXT

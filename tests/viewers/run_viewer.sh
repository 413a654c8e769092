#!/bin/sh
# Makes the small run and opens its results in one viewer.
# usage: run_viewer.sh VIEWER DFL FOLDER     77: the viewer is not installed here
set -eu
viewer=$1 dfl=$2 folder=$3
here=$(cd "$(dirname "$0")" && pwd)
results="$folder/out/run é 1"
# The python of the system: it sees the modules of Debian's packages.
python=/usr/bin/python3
export PYTHONDONTWRITEBYTECODE=1 PYTHONIOENCODING=utf-8 LC_ALL=C.UTF-8 QT_QPA_PLATFORM=offscreen

needs_modules() {
  "$python" -c "import $1" 2> /dev/null || { echo "no python modules $1"; exit 77; }
}
needs_program() {
  command -v "$1" > /dev/null || { echo "no $1"; exit 77; }
}

needs_modules "h5py, numpy"
case $viewer in
  text) ;;
  xarray) needs_modules "xarray, netCDF4" ;;
  netcdf4) needs_modules netCDF4 ;;
  paraview) needs_program pvbatch ;;
  qgis) needs_modules "qgis.core" ;;
  octave)
    needs_program octave-cli
    octave-cli --norc -q --eval 'pkg load netcdf' > /dev/null 2>&1 ||
      { echo "no octave package netcdf"; exit 77; }
    ;;
  *) echo "no such viewer: $viewer"; exit 1 ;;
esac

"$python" "$here/small_run.py" "$dfl" "$folder"
case $viewer in
  paraview) pvbatch "$here/check_paraview.py" "$folder" ;;
  qgis)
    "$python" "$here/../../scripts/parcels_to_csv.py" "${results}_particles.h5" "$folder/parcels.csv"
    XDG_RUNTIME_DIR=$folder "$python" "$here/check_qgis.py" "$folder" "$folder/parcels.csv"
    ;;
  octave)
    "$python" "$here/octave_values.py" "$folder" "$folder/maps.txt" "$folder/parcels.txt"
    octave-cli --norc -q "$here/check_octave.m" "${results}_maps.h5" "$folder/maps.txt" \
      "${results}_particles.h5" "$folder/parcels.txt"
    ;;
  *) "$python" "$here/check_$viewer.py" "$folder" ;;
esac

# Installs the Debian packages that the build and the tests need and that are not there yet.
# Sourced by demo.sh, test.sh and run_example.sh.
packages="g++ cmake ninja-build libhdf5-dev libgtest-dev libbenchmark-dev"
# Without these some tests are skipped: netCDF's own tools read and make files of ours.
test_packages="netcdf-bin python3-numpy python3-h5py python3-netcdf4 python3-xarray"
missing=""
for package in $packages $test_packages ${more_packages:-}; do
  dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' ||
    missing="$missing $package"
done
if [ -n "$missing" ]; then
  as_root=""
  [ "$(id -u)" -eq 0 ] || as_root="sudo"
  $as_root apt-get update -qq
  # shellcheck disable=SC2086
  DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y --no-install-recommends $missing
fi

# shellcheck shell=bash
# Sourced by the run.sh of an example, before it goes to its folder, and by run_example.sh; its
# argument is that of run.sh, the path of the program. Sets `dfl`, the program: the one named, or
# that of build/, built first if it is missing; and `python`: a python3 that has matplotlib if there
# is one. The first python3 of the path may be one of its own, without the packages of the system.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
dfl=$(realpath -m "${1:-$root/build/dfl}")
if [ $# -eq 0 ] && [ ! -x "$dfl" ]; then
  (cd "$root" && cmake --preset release && cmake --build --preset release --target dfl)
fi
if [ ! -f "$dfl" ] || [ ! -x "$dfl" ]; then
  echo "$dfl: no program to run"
  exit 1
fi

python=python3
for candidate in python3 /usr/bin/python3; do
  if "$candidate" -c 'import matplotlib' 2> /dev/null; then
    python=$candidate
    break
  fi
done

# Runs the control file $1.pcf of the folder. The console, a line a step, goes to $1.log; only
# messages and the end are shown.
run_control() {
  echo
  echo "dfl $1.pcf"
  local status=0
  "$dfl" "$1.pcf" --exit-code < /dev/null > "$1.log" || status=$?
  tr '\r' '\n' < "$1.log" | grep -E 'Run stop|WARNING|ERROR|Trap ' || true
  [ "$status" -eq 0 ] || echo "$1.pcf stopped with status $status"
  return "$status"
}

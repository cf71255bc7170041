# Sourced by the two top-level commands: installs what is missing, builds,
# and starts the project's wineserver, which is stopped when the caller exits.
TV_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
bash "$TV_ROOT/scripts/setup.sh"
bash "$TV_ROOT/scripts/build.sh"
source "$TV_ROOT/scripts/wineenv.sh"
tv_wine_start
trap tv_wine_stop EXIT

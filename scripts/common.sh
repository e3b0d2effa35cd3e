# Shared by the scripts of this folder: where the tree is, one line for what is being done, a build.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

say() { printf '\n== %s\n' "$*"; }

# jobs: as many as there are cores, but no more than memory allows at about 1.5 GiB a compiler.
jobs() {
  local cores memory
  cores=$(nproc)
  memory=$(awk '/MemAvailable/ { print int($2 / 1572864) }' /proc/meminfo)
  [ "$memory" -ge 1 ] || memory=1
  echo $((cores < memory ? cores : memory))
}

# sources FOLDER...: the C++ files in the folders, one a line, in whatever way the tree came here.
sources() { find "$@" -name '*.h' -o -name '*.cpp' | sort; }

# build PRESET [-DVARIABLE=VALUE...] [TARGET...]: configures build/PRESET and builds it.
build() {
  local preset=$1
  shift
  local configure=(cmake --preset "$preset")
  if command -v ccache >/dev/null; then
    configure+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  fi
  while [[ ${1:-} == -D* ]]; do
    configure+=("$1")
    shift
  done
  mkdir -p build
  "${configure[@]}" >"build/$preset.log" 2>&1 || { cat "build/$preset.log" >&2; return 1; }
  cmake --build "build/$preset" -j "$(jobs)" ${@:+--target "$@"}
}

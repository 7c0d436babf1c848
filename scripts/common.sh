# Shared by the scripts: where things are, and how a missing package is installed.
cd "$(dirname "${BASH_SOURCE[0]}")/.."
release=build/release

# install_missing PACKAGE...
install_missing() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -q '^installed' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  echo "Installing: ${missing[*]}"
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

build_packages=(g++ cmake ninja-build libpng-dev libjpeg-dev libtiff-dev zlib1g-dev libcairo2-dev libcli11-dev
  nlohmann-json3-dev libseccomp-dev)
helper_packages=(gzip unzip mscompress graphicsmagick ghostscript) # what loomfile runs for packed files and drawings
test_packages=(libgtest-dev clang-format binutils poppler-utils zip parallel)
small_machine_packages=(g++-multilib lib32z1-dev googletest) # card loaders for processors of 32 bits

# build PRESET TARGET... : quiet unless something goes wrong
build() {
  local preset=$1 log
  shift
  log=build/$preset.log
  mkdir -p build
  if ! { cmake --preset "$preset" && cmake --build "build/$preset" --target "$@"; } >"$log" 2>&1; then
    cat "$log" >&2
    exit 1
  fi
}

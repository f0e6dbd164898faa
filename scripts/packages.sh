# To be sourced: need_packages PACKAGE... installs what is missing of these Debian packages.

# as_root COMMAND...
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    echo "This needs root: $*" >&2
    return 1
  fi
}

need_packages() {
  local package missing=()
  for package; do
    dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return

  echo "Installing ${missing[*]}" >&2
  # Not on stdout, which is for decoded reports.
  as_root apt-get update -qq >&2
  as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

# What the product, its Python package, its tests, the benchmarks and the fuzzers are made with, each
# besides the first. Of the tests' packages many are tools whose output vesk-decode reads, or that the
# documents use.
packages_to_build="cmake ninja-build g++ libcli11-dev libvalijson-dev nlohmann-json3-dev zlib1g-dev"
packages_to_python="pybind11-dev python3 python3-dev python3-numpy"
packages_to_test="binutils bsdextrautils clang-format-14 dpkg-dev file git groff-base gzip jq libgtest-dev \
  libpcap-dev mypy parallel perl pkg-config python3 python3-jsonschema python3-pandas python3-pip \
  python3-pyte python3-pytest python3-setuptools python3-venv python3-wheel python3-xarray tshark xxd zsh \
  $packages_to_python"
# What docs/python.md goes on to with arrays.
packages_to_test+=" python3-dask python3-distributed python3-h5py python3-matplotlib python3-netcdf4"
packages_to_bench="libbenchmark-dev libfmt-dev nlohmann-json3-dev"
packages_to_fuzz="clang-14 libclang-rt-14-dev nlohmann-json3-dev python3"

# What the viewer's page is made with: no other build needs it.
packages_to_view="cmake ninja-build clang-19 lld-19 llvm-19 libc++-19-dev-wasm32 \
  libc++abi-19-dev-wasm32 libclang-rt-19-dev-wasm32 wasi-libc"
# Other builds of node than Debian's bring npm along.
command -v node >/dev/null || packages_to_view+=" nodejs"
command -v npm >/dev/null || packages_to_view+=" npm"
packages_to_test_view="chromium firefox-esr gzip xz-utils zstd"

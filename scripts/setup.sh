# shellcheck shell=bash
# Shared by solve, test and .ci/run: installs missing Debian packages and
# builds presets. Everything it prints goes to standard error and nothing it
# starts reads standard input, which belongs to the caller's program.

# shellcheck disable=SC2034  # read by the scripts that source this file
build_packages=(g++ cmake ninja-build)
# shellcheck disable=SC2034  # as above
tool_packages=(libcli11-dev nlohmann-json3-dev python3)
# shellcheck disable=SC2034  # as above
test_packages=("${tool_packages[@]}" libgtest-dev libbenchmark-dev python3-pytest python3-setuptools python3-venv python3-wheel asciidoctor dpkg-dev file pkg-config gnuplot-nox parallel coinor-cbc glpk-utils python3-scipy python3-pulp)
# shellcheck disable=SC2034  # as above
engine_packages=(chromium openssh-server openssh-client procps slurmctld slurmd slurm-client munge python3-ipykernel jupyter-nbconvert)

# require_folder: exits with status 1 and a message if CMake or Ninja cannot build
# in a folder with this name.
require_folder() {
  if [[ $PWD == *[][\"\#\;\\*?\|\<\>[:cntrl:]]* ]]; then
    printf 'cannot build in %q: its name holds a character that CMake or Ninja does not take (one of " # ; [ ] \\ * ? | < > or a control character)\n' \
      "$PWD" >&2
    exit 1
  fi
}

# require_packages NAME...: installs missing packages, or exits with status 1 and
# prints the command to run.
require_packages() {
  local name missing=()
  for name in "$@"; do
    dpkg-query -W -f '${db:Status-Status}\n' "$name" 2>/dev/null </dev/null |
      grep -qx installed || missing+=("$name")
  done
  [[ ${#missing[@]} -gt 0 ]] || return 0
  if [[ $EUID -ne 0 ]]; then
    echo "apt-get install --no-install-recommends ${missing[*]}" >&2
    exit 1
  fi
  echo "Installing ${missing[*]}" >&2
  {
    DEBIAN_FRONTEND=noninteractive apt-get update -q
    DEBIAN_FRONTEND=noninteractive \
      apt-get install -q -y --no-install-recommends "${missing[@]}"
  } </dev/null >&2
}

# build PRESET TARGET CMAKE_OPTION...: configures and builds in build/PRESET.
# A build folder that was moved with its project is configured again, because it
# contains the old path.
build() {
  local preset=$1 target=$2 fresh=()
  shift 2
  local cache=build/$preset/CMakeCache.txt
  if [[ -f $cache ]] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" "$cache"
  then
    fresh=(--fresh)
  fi
  {
    cmake "${fresh[@]}" --preset "$preset" "$@"
    cmake --build --preset "$preset" --target "$target"
  } </dev/null >&2
}

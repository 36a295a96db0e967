# Sourced by ./run and ./test from the root of the project: installs what is missing.
#
#   install_dependencies [PACKAGE...]   what every build needs, and the packages named
#   fetch_mdnsd                         the real responder, into build/tools/mdnsd
#
# Both say what they do and do nothing when there is nothing to do.

build_packages=(
  g++ cmake ninja-build pkg-config
  libboost-dev libjsoncpp-dev libsdbus-c++-dev libsdbus-c++-bin libspdlog-dev
  libcli11-dev libyaml-cpp-dev libsqlite3-dev
  libgtest-dev libgmock-dev
  dbus bubblewrap iproute2 util-linux procps
)

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    echo "this needs root, and there is no sudo: $*" >&2
    return 1
  fi
}

is_installed() {
  dpkg-query -W -f '${db:Status-Status}\n' "$1" 2>/dev/null | grep -qx installed
}

install_dependencies() {
  local package missing=()
  if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    echo "packages can be installed on Debian and Ubuntu only; needed are: ${build_packages[*]} $*" >&2
    return
  fi
  for package in "${build_packages[@]}" "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  [ "${#missing[@]}" -gt 0 ] || return 0
  echo "installing: ${missing[*]}"
  as_root apt-get update -qq
  as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# Unpacked beside the build and never installed: the package would start it on this machine, and
# announce this machine's ssh.
fetch_mdnsd() {
  local tools=$PWD/build/tools/mdnsd packages
  [ ! -x "$tools/usr/sbin/mdnsd" ] || return 0
  command -v apt-get >/dev/null || return 0
  echo "fetching: mdnsd, into build/tools"
  packages=$(mktemp -d)
  mkdir -p "$tools"
  if ! (cd "$packages" && { apt-get download -qq mdnsd libmdnsd1 || {
      as_root apt-get update -qq && apt-get download -qq mdnsd libmdnsd1; }; }) 2>/dev/null; then
    echo "mdnsd cannot be fetched; the bench TV will use its stand-in" >&2
    rm -rf "$packages"
    return 0
  fi
  for package in "$packages"/*.deb; do
    dpkg-deb -x "$package" "$tools"
  done
  rm -rf "$packages"
}

# What the scripts share; source it from the project's folder.

# Packages by purpose. What a purpose names includes what it builds on.
packages_demo=(g++ cmake ninja-build pkg-config gettext
  libssl-dev libgmp-dev libsimdjson-dev libsqlite3-dev libutf8proc-dev libsecret-1-dev libsystemd-dev
  libcli11-dev libbsd-dev)
packages_test=("${packages_demo[@]}" libgtest-dev libgmock-dev python3-cryptography-vectors
  qt6-base-dev desktop-file-utils appstream gnome-keyring dbus libglib2.0-bin)
packages_picture=("${packages_demo[@]}" qt6-base-dev xvfb imagemagick)
packages_package=("${packages_demo[@]}" qt6-base-dev dpkg-dev file lintian abigail-tools)
packages_check=("${packages_test[@]}" clang-14 clang-format-14 clang-tidy-14 libclang-rt-14-dev
  llvm-14 gcovr nlohmann-json3-dev)
packages_docs=(doxygen)
packages_hardening=("${packages_demo[@]}" devscripts binutils)
packages_bench=("${packages_demo[@]}" libcjose-dev libjansson-dev libjwt-dev nlohmann-json3-dev
  rapidjson-dev libglib2.0-dev gnome-keyring dbus libglib2.0-bin)

fail() {
  echo "$*" >&2
  exit 1
}

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# install_packages PACKAGE...: installs those that are missing.
install_packages() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
      missing+=("$package")
  done
  [ ${#missing[@]} = 0 ] && return
  step "installing ${missing[*]}" as_root env DEBIAN_FRONTEND=noninteractive sh -c \
    'apt-get update -q && apt-get install -q -y --no-install-recommends "$@"' sh "${missing[@]}"
}

# listed_headers LIST...: those of these lists of TarvexCommon/CMakeLists.txt, one a line.
listed_headers() {
  local list
  for list in "$@"; do
    sed -n "/^set($list$/,/)/p" TarvexCommon/CMakeLists.txt | grep -oE '[A-Za-z0-9/]+\.h'
  done
}

# Debian's npm and the one of other distributions of Node exclude each other.
install_node() {
  command -v npm >/dev/null || install_packages nodejs npm ca-certificates
}

# install_modules FOLDER: those that the folder's package-lock.json names, into this one.
install_modules() {
  cmp -s "$1/package-lock.json" node_modules/installed-lock.json && return
  cp "$1/package.json" "$1/package-lock.json" .
  timeout 120 npm ci --no-audit --no-fund --loglevel=error
  cp package-lock.json node_modules/installed-lock.json
}

# step TITLE COMMAND...: one line, and the command's output only if it fails.
step() {
  local title=$1 log start=$SECONDS
  shift
  mkdir -p build/log
  log=build/log/$(echo "$title" | tr -cs '[:alnum:]' '-' | cut -c1-60).log
  printf '%s ...' "$title"
  if "$@" >"$log" 2>&1; then
    printf ' %d s\n' $((SECONDS - start))
  else
    printf ' failed\n'
    tail -n 60 "$log" >&2
    exit 1
  fi
}

# build PRESET [CMAKE-OPTION...]
build() {
  local preset=$1
  shift
  step "configuring $preset" cmake --preset "$preset" "$@"
  if [ -t 1 ]; then
    cmake --build --preset "$preset" || exit 1 # ninja shows its progress on one line
  else
    step "building $preset" cmake --build --preset "$preset"
  fi
}

# run_tests PRESET [CTEST-OPTION...]: ends with the line "N passed, N failed".
run_tests() {
  local preset=$1 log=build/log/tests-$1.log failed=0 total=0
  shift
  mkdir -p build/log
  ctest --preset "$preset" --parallel "$(nproc)" --timeout 300 "$@" 2>&1 | tee "$log" |
    show_progress "testing $preset" || true
  read -r failed total < <(sed -nE \
    's/.*tests passed, ([0-9]+) tests? failed out of ([0-9]+).*/\1 \2/p' "$log") ||
    fail "no test ran, see $log"
  [ "$failed" = 0 ] || grep -vE '^ *[0-9]+/[0-9]+ Test .* Passed|^ *Start ' "$log" | head -n 100 >&2
  echo "$((total - failed)) passed, $failed failed"
  [ "$failed" = 0 ]
}

# Shows how far ctest is: one changing line on a terminal, otherwise a line a tenth.
show_progress() {
  awk -v title="$1" -v terminal="$([ -t 1 ] && echo 1)" '
    match($0, /^ *[0-9]+\/[0-9]+ Test/) {
      split(substr($0, RSTART, RLENGTH - 5), count, "/")
      if (terminal) printf "\r%s ... %d/%d", title, count[1], count[2]
      else if (int(count[1] * 10 / count[2]) > tenth) {
        tenth = int(count[1] * 10 / count[2])
        printf "%s ... %d/%d\n", title, count[1], count[2]
      }
      fflush()
    }
    END { if (terminal) print "" }'
}

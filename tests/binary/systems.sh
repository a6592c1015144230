# For scripts that run the built programs of either system from here. Source it behind counting.sh, with $root and
# $build set. It sets: $runner, what starts a program (Wine, or nothing); $suffix of programs; $module, SoftHSM2's
# library for that system as a program is to be given it, or nothing where it cannot be had.
readonly no_module="SoftHSM2 for Windows: its sources could not be had"

windows_path() { echo "Z:${1//\//\\}"; }

# This system's files stand on drive Z of a Windows program.
path_for_program() { if [ -n "$suffix" ]; then windows_path "$1"; else echo "$1"; fi; }

# An empty store of SoftHSM2 tokens in FOLDER, which the programs find.
make_tokens() { # FOLDER
  mkdir -p "$1/tokens"
  printf 'directories.tokendir = %s\nobjectstore.backend = file\nlog.level = ERROR\n' \
    "$(path_for_program "$1/tokens")" >"$1/softhsm2.conf"
  SOFTHSM2_CONF=$(path_for_program "$1/softhsm2.conf")
  export SOFTHSM2_CONF
}

if [ -e "$build/bin/p11host.exe" ]; then
  runner=("$root/cmake/wine") suffix=.exe
  module=$(windows_path "$root/build/softhsm-windows/softhsm2.dll")
  "$root/tests/windows/build-softhsm"
  case $? in
    0) ;;
    77) module= ;;
    *) fail "SoftHSM2 is made for Windows" ;;
  esac
else
  runner=() suffix=
  module=$(dpkg-query --listfiles libsofthsm2 2>/dev/null | grep -m 1 '/libsofthsm2\.so$' || echo libsofthsm2.so)
fi

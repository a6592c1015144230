# For scripts that work with the packages of what $build holds. Source it behind systems.sh, with a temporary folder in
# $work. It sets $version, and $builds, the build folders that the packages are made of.
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
builds=$build
pack=(cmake --build "$build" --target package)
packages=$build/package other_lock=$work/lock
# Blanks and letters beyond ASCII: a customer's folders have them.
made="$work/made – für alle"
if [ "$(basename "$build")" = windows-msvc ]; then
  # The packages for Windows carry both builds.
  builds="$root/build/windows $build"
  pack=("$root/cmake/package-windows")
  packages=$root/build/package other_lock=$root/build/windows.lock
fi

pack_locked() {
  flock 8 && flock 9 && rm -f "$packages"/zel-* && "${pack[@]}" && cp "$packages"/zel-* "$made"
} 8>"$other_lock" 9>"$build.lock"

# Makes the packages, not while somebody else builds or packs there, and sets $archive to a copy of the archive in
# $made. What the system installs is beside it.
make_packages() {
  mkdir "$made"
  check "the packages are made" pack_locked
  archive=$(find "$made" -name "zel-coe-pkcs11-$version-*" \( -name '*.zip' -o -name '*.tar.gz' \))
  same "there is one archive, and its name has the version" 1 "$(grep -c . <<<"$archive")"
}

# Runs a packaged program. Nothing outside its folder may help: no library path, and a working folder of its own.
packaged() ( # PROGRAM [ARGUMENT]...
  cd "$work" || exit
  unset LD_LIBRARY_PATH P11HOST_MODULE
  exec timeout 120 "${runner[@]}" "$@" </dev/null
)

check_info() { # PROGRAM
  local info file=${module##*[/\\]} wanted
  info=$(packaged "$1" --module "$module" --json info 2>"$work/info.log")
  same "p11host info: status" 0 $?
  for wanted in "\"$version\"" '"client.p11.Larkspur"' '(PKCS#11 Plugin / ' "$file" 'Manufacturer ID=SoftHSM '; do
    if grep -qF "$wanted" <<<"$info"; then pass "p11host info says $wanted"; else
      fail "p11host info says $wanted" "$info $(<"$work/info.log")"
    fi
  done
}

# The example that changes nothing on a token.
check_example() { # PROGRAM EXAMPLE
  local answers
  answers=$(packaged "$1" --module "$module" run "$(path_for_program "$2")" 2>"$work/run.log")
  same "the example: status" 0 $?
  same "the example: every step is answered" "$(wc -l <"$2")" "$(grep -c '^{' <<<"$answers")"
  same "the example: the readers" 1 "$(grep -c '"id":"readers".*"id":"ERROR",.*"value":"0".*"READERS"' <<<"$answers")"
}

# The program of a package helps, finds its plug-in and works with a token.
check_runs() { # PROGRAM FOLDER-WITH-DOCUMENTS
  local help
  help=$(packaged "$1" --help 2>&1)
  same "p11host --help: status" 0 $?
  same "p11host --help names the command that runs jobs" 1 "$(grep -cE '^ +run( |$)' <<<"$help")"
  if [ -n "$module" ]; then
    check_info "$1"
    check_example "$1" "$2/docs/examples/look-around.jsonl"
  else
    skip "p11host info" "$no_module"
    skip "the example" "$no_module"
  fi
}

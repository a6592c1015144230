# For test scripts: count what passed and what did not, one line each, and end with the line that ./test reads.
passed=0 failed=0 skipped=0
# What other programs print is read as English, and sorted in one order.
export LC_ALL=C.UTF-8

pass() { passed=$((passed + 1)); echo "passed   $1"; }
fail() { failed=$((failed + 1)); echo "FAILED   $1${2:+: $2}"; }
skip() { skipped=$((skipped + 1)); echo "SKIPPED  $1${2:+: $2}"; }

# same NAME WANTED FOUND
same() {
  if [ "$2" = "$3" ]; then pass "$1"; else fail "$1" "wanted [$2], found [$3]"; fi
}

# check NAME COMMAND...: passes when the command does; what it printed is shown when it does not.
check() {
  local name=$1 output
  shift
  if output=$("$@" 2>&1); then pass "$name"; else fail "$name" "$* ended with $?"; printf '%s\n' "$output" | tail -n 40; fi
}

finish() {
  echo "$passed passed, $failed failed, $skipped skipped"
  [ "$failed" = 0 ]
}

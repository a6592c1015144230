# shellcheck shell=bash
# For test scripts of the issuing desk: a row of readers in front of cards of their own (tests/rack), a clerk who changes
# them while a batch runs, and looking at a card with another program. Sourced behind common.sh.

# make_rack NAME...: readers 01, 02, … of these names, all empty. p11host uses them from now on.
make_rack() {
  local number=0 folder name
  softhsm=$P11HOST_MODULE
  export P11HOST_MODULE=$build/bin/librack.so RACK_MODULE=$softhsm RACK_FOLDER=$work/readers
  mkdir -p readers cards
  for name in "$@"; do
    number=$((number + 1))
    folder=$(printf 'readers/%02d' "$number")
    mkdir "$folder"
    echo "$name" >"$folder/name"
  done
}

# insert READER CARD: puts the card into the reader, a blank one at its first time; without a card the reader is empty.
# Replaced as a whole, because the rack looks at the file at every call.
insert() {
  [ -z "${2:-}" ] || mkdir -p "cards/$2"
  echo "${2:+$work/cards/$2}" >"readers/$1/card.new"
  mv "readers/$1/card.new" "readers/$1/card"
}

# card_in READER: the name of the card that is in it.
card_in() { basename "$(cat "readers/$1/card")"; }

# on_card CARD COMMAND...: the command sees this card alone, through SoftHSM2 itself.
on_card() {
  local card=$1
  shift
  use_store "cards/$card" "$work/card.conf"
  SOFTHSM2_CONF=$work/card.conf P11HOST_MODULE=$softhsm "$@"
}

# make_card CARD LABEL: a card that another program has initialised, with the PINs of the tests.
make_card() {
  mkdir -p "cards/$1"
  on_card "$1" softhsm2-util --init-token --free --label "$2" --so-pin "$SO_PIN" --pin "$USER_PIN" >/dev/null
}

# contents CARD: what stands on it, byte by byte.
contents() { (cd "cards/$1" && find . -type f ! -name '*.lock' -exec sha256sum {} + | sort); }

# begin_batch DESK [OPTION...]: issues plan.json for people.csv in the background. $batch is its process, events.log what
# it says, and errors.log the rest. A shell's background processes would ignore Ctrl-C.
begin_batch() {
  local desk=$1
  shift
  : >events.log # not only when the process begins: what is waited for must not be there from the one before
  env --default-signal=INT "$host" issue plan.json --cards people.csv --desk "$desk" --progress json "$@" \
    >events.log 2>errors.log &
  batch=$!
}

# wait_for CONDITION...: waits until the command succeeds; fails after a minute.
wait_for() {
  local i
  for ((i = 0; i < 1200; i++)); do
    "$@" && return 0
    sleep 0.05
  done
  echo "never happened: $*" >&2
  tail -n 20 events.log errors.log >&2
  return 1
}

# events EVENT: the lines of this event so far; a line that is being written is left out.
events() { sed -n '/}$/p' events.log | jq -c --arg event "$1" 'select(.event == $event)'; }
has_events() { [ "$(events "$1" | wc -l)" -ge "${2:-1}" ]; }

# batch_ends NAME STATUS: waits for the end of the batch, which has to have this status.
batch_ends() {
  local ended=0
  # Not a part of this shell that waits beside it: killed before it has begun, it would run this shell's trap.
  timeout 120 tail --pid="$batch" -s 0.1 -f /dev/null || kill -9 "$batch"
  wait "$batch" || ended=$?
  same "$1" "$2" "$ended"
  [ "$2" = "$ended" ] || tail -n 20 events.log errors.log
}

# every_card_is_good DESK PEOPLE: as every_person_has_one_card, for cards of the rack.
every_card_is_good() {
  rm -rf all
  mkdir all
  cp -r cards/*/* all/
  use_store all
  P11HOST_MODULE=$softhsm every_person_has_one_card "$@"
}

# calls READER: the functions that were called on it, each once.
calls() { sed -n "s/^$1 //p" calls.log | sort -u | tr '\n' ' '; }

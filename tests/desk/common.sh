# shellcheck shell=bash
# For test scripts of the issuing desk: cards on SoftHSM2, whose fresh slot after each initialisation is the next blank
# card, an authority that writes down what it signs, a plan, a list, and what has to be true at the end.
#
#   here=$(cd "$(dirname "$0")" && pwd)
#   source "$here/common.sh"
#   begin_desk_test "issuing cards" BUILD
#
# Afterwards the caller is in a temporary folder, which is removed when the script ends. $host is p11host of that build,
# for either system.
# shellcheck source=../counting.sh
source "$here/../counting.sh"

# begin_desk_test NAME BUILD: ends the test as skipped where something is not installed.
begin_desk_test() {
  root=$(cd "$here/../.." && pwd)
  build=$(cd "$2" && pwd)
  # shellcheck source=../binary/systems.sh
  source "$here/../binary/systems.sh"
  if [ -z "$module" ] || ! command -v openssl >/dev/null || ! command -v jq >/dev/null; then
    skip "$1" "it takes softhsm2, openssl and jq"
    finish
    exit 77
  fi
  work=$(mktemp -d "${TMPDIR:-/tmp}/issuing desk.XXXXXX")
  trap 'rm -rf "$work"' EXIT
  cd "$work"
  host=$build/bin/p11host
  [ -z "$suffix" ] || run_under_wine
  configuration=$work/softhsm2.conf
  SOFTHSM2_CONF=$(path_for_program "$configuration")
  export P11HOST_MODULE=$module SOFTHSM2_CONF SO_PIN=12345678 USER_PIN=123456
  make_authority
}

# A Windows program is started by a script of its name, and its authority is this script.
run_under_wine() {
  host=$work/p11host
  printf '#!/bin/sh\nexec "%s" "%s" "$@"\n' "${runner[0]}" "$build/bin/p11host.exe" >"$host"
  chmod +x "$host"
  mkdir relay
  (answer_relays) &
  trap "kill $! 2>/dev/null || true; rm -rf \"\$work\"" EXIT
}

answer_relays() {
  local request name
  while sleep 0.05; do
    for request in relay/*.request; do
      [ -e "$request" ] || continue
      name=${request%.request}
      ./sign "$(basename "${name%.*}")" <"$request" >"$name.part" || : >"$name.part"
      rm "$request"
      mv "$name.part" "$name.answer"
    done
  done
}

# new_store NAME: an empty token store, which the module uses from now on.
new_store() {
  rm -rf "$1"
  mkdir "$1"
  use_store "$1"
}

# use_store NAME [CONFIGURATION]: the module uses this store, or a configuration for it is written.
use_store() {
  printf 'directories.tokendir = %s\nobjectstore.backend = file\nlog.level = ERROR\n' \
    "$(path_for_program "$work/$1")" >"${2:-$configuration}"
}

# make_authority: "./sign ROW" signs a request; what it signs is kept as signed/ROW.NUMBER. $authority is its command.
make_authority() {
  openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -subj /CN=Authority -days 2 2>/dev/null
  mkdir signed
  cat >sign <<'END_OF_SIGN'
#!/bin/sh
number=$(openssl rand -hex 8)
openssl x509 -req -CA ca.pem -CAkey ca.key -days 1 -set_serial "0x$number" -out "signed/$1.$number" 2>/dev/null &&
  cat "signed/$1.$number"
END_OF_SIGN
  chmod +x sign
  authority='["./sign", "{number}"]'
  if [ -n "$suffix" ]; then
    authority=$(jq -cn --arg program "$(windows_path "$build/bin/relay.exe")" '[$program, "{number}"]')
  fi
}

# plan AUTHORITY [MORE]: the plan of a test; the authority's command as JSON, and more members of the plan.
plan() {
  cat <<END_OF_PLAN
{"plan": "test card", "columns": ["number", "name"],
 "secrets": {"so": {"env": "SO_PIN"}, "pin": {"env": "USER_PIN"}},
 "authority": {"command": $1, "timeout": 60},${2:+ $2,}
 "steps": [{"init-token": {"label": "{name}", "soPin": "so"}}, {"set-pin": {"pin": "pin"}},
           {"generate-key": {"id": "01", "label": "{name}", "size": 1024}},
           {"request": {"id": "01", "subject": "/O=Example/CN={name}"}}, {"certify": {}},
           {"write-certificate": {"id": "01"}}, {"check": {"id": "01"}}]}
END_OF_PLAN
}

# list PEOPLE: a list of so many people.
list() {
  local i
  echo "number,name"
  for ((i = 1; i <= $1; i++)); do echo "$i,Person $i"; done
}

status() { "$host" issue status --desk "$1" --json; }

# signs SERIAL CERTIFICATE: the card with this serial signs, and OpenSSL verifies with the certificate.
signs() {
  echo text >signed-file
  SO_PIN='' "$host" sign signed-file --serial "$1" --id 01 --pin env:USER_PIN --out signature >/dev/null &&
    openssl x509 -in "$2" -noout -pubkey >public.pem &&
    openssl dgst -sha256 -verify public.pem -signature signature signed-file >/dev/null
}

# every_person_has_one_card DESK PEOPLE: in the store that the module uses. Leaves status.json and card.ROW.
every_person_has_one_card() {
  local serial row
  status "$1" >status.json
  [ "$(jq .done status.json)" = "$2" ] || { jq 'del(.revoke)' status.json; return 1; }
  [ "$(jq -r '.cards[].serial' status.json | sort -u | wc -l)" = "$2" ] || return 1
  while read -r row serial; do
    "$host" read-certificates --serial "$serial" --id 01 --out "card.$row" || return 1
    openssl x509 -in "card.$row" -noout -subject | grep -q "CN = Person $row\$" || return 1
    openssl verify -CAfile ca.pem "card.$row" >/dev/null || return 1
    signs "$serial" "card.$row" || return 1
  done < <(jq -r '.cards[] | "\(.row) \(.serial)"' status.json)
}

# Behind every_person_has_one_card: every certificate that the authority has signed is on a person's card, or is to be
# revoked.
nothing_signed_is_forgotten() {
  local file row
  jq -r '.revoke[] | select(.certificate) | .certificate' status.json >revoked.pem
  for file in signed/*; do
    row=${file#signed/}
    row=${row%%.*}
    openssl x509 -in "$file" -out one.pem || continue # was being written when its writer was killed
    cmp -s one.pem <(openssl x509 -in "card.$row") && continue
    grep -qF "$(sed -n 3p one.pem)" revoked.pem && continue
    jq -e --argjson row "$row" '.revoke[] | select(.row == $row and (has("certificate") | not))' status.json >/dev/null ||
      { echo "$file is on no card and on no list"; return 1; }
  done
}

# For the tests of documents: folders with a SoftHSM2 token and the files that the pages speak of. Source it behind
# counting.sh and systems.sh. Every PIN and passphrase is $secret.
readonly secret=123456

# Runs a command where each question for a secret is answered with it, and each other question with yes.
answered() {
  "$root/tests/on-terminal" --answer '(PIN|KEY|again|Passphrase)[^\n]*: $' "$secret\\n" --answer '\[y/N\] $' 'y\n' "$@"
}

# enter FOLDER: the token in it is the one that programs see.
enter() {
  cd "$1" && make_tokens "$1"
}

# copy_world NAME FOLDER
copy_world() { cp -rp "$worlds/$1" "$2"; }

make_files() {
  local name
  echo "$secret" >so.pin && cp so.pin pin.txt && cp so.pin passphrase && chmod 600 so.pin pin.txt passphrase
  echo "What is signed is this line." >letter.txt
  openssl genpkey -quiet -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -aes256 -pass "pass:$secret" -out key.pem
  openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 365 -subj "/CN=Example CA" 2>/dev/null
  openssl x509 -in ca.pem -outform DER -out cert.der
  # The digest in the wrapping that says SHA-256.
  printf '\x30\x31\x30\x0d\x06\x09\x60\x86\x48\x01\x65\x03\x04\x02\x01\x05\x00\x04\x20' >digestinfo.der
  openssl dgst -sha256 -binary letter.txt >>digestinfo.der
  cp "$root/tests/docs/job.jsonl" .
  ln -s "$root/docs" docs
  # A password manager's program.
  mkdir bin && printf '#!/bin/sh\necho %s\n' "$secret" >bin/pass && chmod 755 bin/pass
}

# make_worlds FOLDER: in the order of a token's life, each on top of the one before.
make_worlds() {
  local pin=(--pin file:pin.txt)
  worlds=$1
  mkdir -p "$worlds/blank" && enter "$worlds/blank" && make_files &&
    copy_world blank "$worlds/without-pin" && enter "$worlds/without-pin" &&
    p11host init-token --label alice --so-pin file:so.pin --no-user-pin &&
    copy_world without-pin "$worlds/without-keys" && enter "$worlds/without-keys" &&
    p11host set-pin --so-pin file:so.pin --new-pin file:pin.txt &&
    copy_world without-keys "$worlds/without-certificates" && enter "$worlds/without-certificates" &&
    p11host generate-key --id 01 --label mine "${pin[@]}" --out mine.pub &&
    p11host generate-key --id 02 --label other "${pin[@]}" --out other.pub &&
    openssl x509 -new -subj "/O=Example/CN=Alice" -force_pubkey mine.pub -CA ca.pem -CAkey ca.key -days 30 -out mine.pem &&
    copy_world without-certificates "$worlds/full" && enter "$worlds/full" &&
    p11host write-certificate mine.pem --id 01 "${pin[@]}" &&
    p11host sign letter.txt --id 01 "${pin[@]}" --out letter.sig
}

# The world in which a block begins, by its first command.
world_for() { # COMMAND
  case $1 in
    init-token | init) echo blank ;;
    set-pin) echo without-pin ;;
    generate-key) echo without-keys ;;
    write-certificate) echo without-certificates ;;
    *) echo full ;;
  esac
}

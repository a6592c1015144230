# shellcheck shell=bash
# For test scripts: a PostgreSQL server of their own, in a temporary folder. It ends when the script does, however that
# ends. Source it behind counting.sh.
#
#   require_server "stations" || …         says what is missing
#   make_server                            $server is its folder, $server_url its URL for the owner "desk"
#   stop_server; start_server              as when the machine is switched off and on again
#   drop_server                            at the end
#
# The server refuses to run as root: it runs as the user of Debian's package then.

# require_server NAME: skips NAME where PostgreSQL is not installed.
require_server() {
  postgres_bin=$(find /usr/lib/postgresql/*/bin -name postgres 2>/dev/null | sort -V | tail -n1)
  postgres_bin=${postgres_bin%/postgres}
  if [ -z "$postgres_bin" ] || ! command -v setpriv psql >/dev/null; then
    skip "$1" "it takes postgresql"
    return 1
  fi
  if [ "$(id -u)" = 0 ] && ! id postgres >/dev/null 2>&1; then
    skip "$1" "the server does not run as root, and there is no user postgres"
    return 1
  fi
  if ! ls /usr/lib/*/libsoci_postgresql.so.* >/dev/null 2>&1; then
    skip "$1" "it takes libsoci-postgresql4.0"
    return 1
  fi
}

# as_server COMMAND...: as the server's user and in its folder; who ends with this script.
as_server() { "${as_server[@]}" "$@"; }

# The folder stands in /tmp: the other user has to reach it, and a socket's name is short.
make_server() {
  server=$(mktemp -d /tmp/desk-server.XXXXXX)
  as_server=(env -C "$server" setpriv --pdeathsig INT)
  if [ "$(id -u)" = 0 ]; then
    chown postgres: "$server"
    as_server+=(--reuid=postgres --regid=postgres --clear-groups)
  fi
  as_server "$postgres_bin/initdb" -D data -U desk --auth=trust --no-locale --encoding=UTF8 --no-sync >"$server.log" 2>&1
  as_server tee -a data/postgresql.conf >/dev/null <<END_OF_SETTINGS
listen_addresses = ''
unix_socket_directories = '$server'
unix_socket_permissions = 0777
fsync = off
shared_buffers = 16MB
max_connections = 50
END_OF_SETTINGS
  printf '%s\n' "local all station scram-sha-256" "local all all trust" | as_server tee data/pg_hba.conf >/dev/null
  server_url="postgresql:///desk?host=$server&user=desk"
  start_server
  psql_server postgres -c 'CREATE DATABASE desk'
}

start_server() {
  local i
  "${as_server[@]}" "$postgres_bin/postgres" -D data >>"$server.log" 2>&1 &
  server_process=$!
  for ((i = 0; i < 300; i++)); do
    if "$postgres_bin/pg_isready" -q -h "$server"; then return 0; fi
    sleep 0.1
  done
  tail -n 20 "$server.log"
  return 1
}

# stop_server: at once, without a word to those that it serves.
stop_server() {
  kill -QUIT "$server_process" 2>/dev/null || return 0
  wait "$server_process" 2>/dev/null || true
}

drop_server() {
  stop_server
  rm -rf "$server" "$server.log"
}

# psql_server DATABASE ARGUMENTS...
psql_server() {
  local database=$1
  shift
  psql -qAtX -v ON_ERROR_STOP=1 -h "$server" -U desk -d "$database" "$@"
}

#!/usr/bin/env bash
# ovrin login, then a protected call from a new process with the credential login stored,
# then logout, against the local weather service running as a program of its own. The
# secure store is the file store in a private directory (no session bus is offered), so
# the user's own keyring and data are never touched.
#   scripts/check-ovrin-login.sh OVRIN OVRIN-WEATHER-SERVICE
set -euo pipefail
ovrin=$1
service=$2
scratch=$(mktemp -d)
pid=""
cleanup() {
  [ -n "$pid" ] && kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null
  rm -rf "$scratch"
}
trap cleanup EXIT
export XDG_DATA_HOME="$scratch/data" HOME="$scratch"
unset DBUS_SESSION_BUS_ADDRESS XDG_RUNTIME_DIR OVRIN_USERNAME OVRIN_PASSWORD

"$service" --port 0 >"$scratch/service.out" 2>&1 &
pid=$!
url=""
for _ in $(seq 200); do
  url=$(grep -o 'http://127\.0\.0\.1:[0-9]*/' "$scratch/service.out" | head -n 1 || true)
  [ -n "$url" ] && break
  sleep 0.05
done
[ -n "$url" ] || { echo "the service did not start"; cat "$scratch/service.out"; exit 1; }
client=(--base-url "$url" --client-id demo-client --client-secret demo-secret)

fail() { echo "check-ovrin-login: $*"; exit 1; }

"$ovrin" login --username demo-user --password wrong "${client[@]}" >"$scratch/refused.out" 2>&1 &&
  fail "a wrong password signed in"
grep -q "sign-in refused" "$scratch/refused.out" || fail "no reason given: $(cat "$scratch/refused.out")"

"$ovrin" login --username demo-user --password demo-password "${client[@]}" >"$scratch/login.out" 2>&1 ||
  fail "login failed: $(cat "$scratch/login.out")"
grep -q "signed in as demo-user" "$scratch/login.out" || fail "unexpected login output: $(cat "$scratch/login.out")"
items=$(find "$XDG_DATA_HOME" -name '*.item' | wc -l)
[ "$items" -eq 1 ] || fail "expected one stored item, found $items"
# The token printed is masked: it is never on the console whole.
token=$(grep -o 'accessToken:"[^"]*"' "$scratch/login.out" | head -n 1)
case "$token" in *"…"*) ;; *) fail "the access token was printed unmasked: $token" ;; esac

# A new process finds the credential. Read back, it has no expiration (it was stored before
# its expiration was set), so the protected call first refreshes it with a client-credentials
# grant and then succeeds.
"$ovrin" get account --oauth "${client[@]}" >"$scratch/account.out" 2>&1 ||
  fail "the protected call failed: $(cat "$scratch/account.out")"
grep -q '"success" : true' "$scratch/account.out" || fail "the protected call was refused: $(cat "$scratch/account.out")"

# And a later process still finds a credential to delete.
"$ovrin" logout >"$scratch/logout.out" 2>&1 || fail "logout failed"
grep -q "was deleted" "$scratch/logout.out" || fail "unexpected logout output: $(cat "$scratch/logout.out")"
items=$(find "$XDG_DATA_HOME" -name '*.item' | wc -l)
[ "$items" -eq 0 ] || fail "logout left $items stored items"
"$ovrin" logout | grep -q "not signed in" || fail "a second logout found a credential"
echo "check-ovrin-login: passed"

#!/usr/bin/env bash
# The shared library exports its public interface and nothing else: no private
# (ovn::detail) symbol and none of the Asio code linked into it.
#   scripts/check-exports.sh path/to/libOvrinCore.so
set -u
library=${1:?usage: check-exports.sh libOvrinCore.so}
symbols=$(nm -D --defined-only -C "$library") || { echo "exports: cannot read $library"; exit 1; }
status=0
# A public class and a public function must be there, or the check below proves nothing.
for expected in 'OVNValue::isEqual(OVNValue const&) const' 'ovn_isNumber('; do
  if ! grep -qF "$expected" <<<"$symbols"; then
    echo "exports: public symbol missing: $expected"
    status=1
  fi
done
leaked=$(grep -E 'ovn::detail::|asio::' <<<"$symbols")
if [ -n "$leaked" ]; then
  echo "exports: private or Asio symbols exported ($(wc -l <<<"$leaked")):"
  head -20 <<<"$leaked"
  status=1
fi
[ $status -eq 0 ] && echo "exports: ok ($(wc -l <<<"$symbols") symbols)"
exit $status

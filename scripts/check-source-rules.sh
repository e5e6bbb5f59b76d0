#!/usr/bin/env bash
# Source rules that the compiler does not enforce. Checks the .h and .cpp files under Source/:
#   log levels are named: a call of a log entry point (OVNLogger::log, logWithFile,
#   logMessage, setLoggingLevel, setLogLevel, or `->log` / `.log` on a logger) must not pass
#   a bare number as its level; use OVNLogLevelDebug ... OVNLogLevelError from
#   Logging/OVNLogger.h. The call may span lines.
# Prints "file:line: ..." for each offence and fails when there is one.
set -u
root=${1:-$(dirname "$0")/../Source}
status=0

entry='(?:\bOVNLogger::(?:log|logWithFile|setLoggingLevel)|(?:->|\.)log|\b(?:logWithFile|logMessage|setLogLevel|setLoggingLevel))'
while IFS= read -r offence; do
  echo "source rules: $offence"
  status=1
done < <(find "$root" \( -name '*.h' -o -name '*.cpp' \) -print0 | sort -z |
  xargs -0 perl -0777 -ne '
    while (/'"$entry"'\s*\(\s*[0-9]/g) {
      my $line = 1 + (substr($_, 0, $-[0]) =~ tr/\n//);
      print "$ARGV:$line: log level passed as a bare number; use a named OVNLogLevel constant\n";
    }')

[ $status -eq 0 ] && echo "source rules: ok"
exit $status

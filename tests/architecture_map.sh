#!/usr/bin/env bash
# The map of the code stays true: every path that docs/architecture.md names
# in backticks (a name with a slash, outside the repository's parent) exists.
# Usage: architecture_map.sh SOURCE_DIR
set -u
cd "$1" || exit 1
missing=0 named=0
while read -r path; do
    named=$((named + 1))
    [ -e "$path" ] || { echo "FAIL: docs/architecture.md names $path, which does not exist"; missing=$((missing + 1)); }
done < <(grep -o '`[A-Za-z0-9_./-]*/[A-Za-z0-9_./-]*`' docs/architecture.md | tr -d '`' | grep -v '^\.\./' | sort -u)
echo "$((named - missing)) passed, $missing failed"
[ "$named" -gt 0 ] && [ "$missing" -eq 0 ]

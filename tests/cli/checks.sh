# Sourced by the tool's shell tests: a scratch directory removed on exit,
# fail() to record a failed check and go on, and finish() to end the script
# with the count of failures (exit 1 when there are any).
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
finish() {
    if [ "$failures" -ne 0 ]; then echo "$failures check(s) failed"; exit 1; fi
    echo "all checks passed"
}

# Shared by the CI job scripts: `check NAME COMMAND...` runs COMMAND quietly,
# prints "ok: NAME (N s)" or its last output lines and "FAILED: NAME", and
# counts the results in $passed and $failed.
passed=0
failed=0
check_log="$(mktemp)"
trap 'rm -f "$check_log"' EXIT
check() {
    local name="$1" start=$SECONDS
    shift
    if "$@" > "$check_log" 2>&1; then
        echo "ok: $name ($((SECONDS - start)) s)"
        passed=$((passed + 1))
    else
        tail -n 60 "$check_log"
        echo "FAILED: $name"
        failed=$((failed + 1))
    fi
}

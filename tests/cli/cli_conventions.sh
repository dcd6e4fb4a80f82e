#!/usr/bin/env bash
# The tool's conventions: --help, COMMAND --help and --version print to
# stdout and exit 0; the exit codes are listed in --help and in the README;
# the output may not overwrite the input; a bare mp3d finds its sample only
# beside the executable and prints usage where there is none.
# Usage: cli_conventions.sh MP3D SOURCE_DIR
set -u
mp3d="$1"
src="$2"
. "$(dirname "${BASH_SOURCE[0]}")/checks.sh"

# stdout_ok DESCRIPTION PATTERN COMMAND...: exit 0, PATTERN on stdout,
# nothing on stderr.
stdout_ok() {
    local what="$1" pattern="$2"
    shift 2
    "$@" > "$tmp/out" 2> "$tmp/err"
    local status=$?
    [ "$status" -eq 0 ] || fail "$what: exit $status"
    grep -q -- "$pattern" "$tmp/out" || fail "$what: '$pattern' not on stdout"
    [ -s "$tmp/err" ] && fail "$what: stderr: $(cat "$tmp/err")"
}
stdout_ok "--help" "^usage: mp3d" "$mp3d" --help
stdout_ok "-h" "^usage: mp3d" "$mp3d" -h
stdout_ok "--version" "^mp3d [0-9][0-9.]*$" "$mp3d" --version
for command in decode info compare checksum; do
    stdout_ok "$command --help" "^usage: mp3d $command" "$mp3d" "$command" --help
    # Only that command's usage.
    [ "$(grep -c '^ *\(usage: \)\?mp3d ' "$tmp/out")" -le 2 ] || fail "$command --help shows other commands"
done
stdout_ok "decode --help, after operands" "^usage: mp3d decode" "$mp3d" decode a.mp3 b.wav --help
[ -e b.wav ] && fail "decode --help decoded"

# The exit codes, in --help and in the README's tool section.
"$mp3d" --help > "$tmp/help"
for code in 0 1 2; do
    grep -q "^  $code  " "$tmp/help" || fail "--help does not list exit code $code"
    grep -q "^  - \`$code\`" "$src/README.md" || fail "README does not list exit code $code"
done
"$mp3d" frobnicate > "$tmp/out" 2> "$tmp/err"
[ $? -eq 2 ] || fail "unknown command: not exit 2"
[ -s "$tmp/out" ] && fail "unknown command: usage on stdout"

# The output may not be the input, under any name; the input stays intact.
cp "$src/samples/sample.mp3" "$tmp/song.mp3"
ln "$tmp/song.mp3" "$tmp/hardlink.mp3"
sum="$(md5sum < "$tmp/song.mp3")"
for out in "$tmp/song.mp3" "$tmp/../$(basename "$tmp")/song.mp3" "$tmp/hardlink.mp3"; do
    "$mp3d" decode "$tmp/song.mp3" "$out" 2> "$tmp/err"
    status=$?
    [ "$status" -eq 2 ] || fail "decode IN IN ($out): exit $status, expected 2"
    grep -q "the output is the input file" "$tmp/err" || fail "decode IN IN: message: $(cat "$tmp/err")"
done
"$mp3d" decode - - < "$tmp/song.mp3" >> "$tmp/song.mp3" 2> /dev/null
[ $? -eq 2 ] || fail "decode - - with stdout appending to stdin's file: not refused"
[ "$(md5sum < "$tmp/song.mp3")" = "$sum" ] || fail "the input was overwritten"

# A copy of the tool with no share/mp3d/sample.mp3 beside it prints usage
# (it does not reach into the tree it was built from) ...
mkdir -p "$tmp/alone/bin" "$tmp/run"
cp "$mp3d" "$tmp/alone/bin/mp3d"
(cd "$tmp/run" && "$tmp/alone/bin/mp3d" > "$tmp/out" 2> "$tmp/err")
status=$?
[ "$status" -eq 2 ] || fail "bare mp3d without a sample: exit $status, expected 2"
grep -q "^usage: mp3d" "$tmp/err" || fail "bare mp3d without a sample: no usage"
[ -e "$tmp/run/sample.wav" ] && fail "bare mp3d without a sample wrote sample.wav"
# ... and one laid out as installed decodes the sample there.
mkdir -p "$tmp/alone/share/mp3d"
cp "$src/samples/sample.mp3" "$tmp/alone/share/mp3d/"
(cd "$tmp/run" && "$tmp/alone/bin/mp3d" > "$tmp/out" 2> "$tmp/err") || fail "bare mp3d with an installed sample"
[ -s "$tmp/run/sample.wav" ] || fail "bare mp3d with an installed sample: no sample.wav"

finish

#!/usr/bin/env bash
# Decoding cost on the target processor (ARMv6, ARM1176), by emulation:
# cross-builds a small driver (bench/arm/driver.c) for mp3d and for the peers
# that Debian packages for armel (libmad, libmpg123), runs each decode under
# qemu-arm -cpu arm1176 with every executed block logged, counts the
# instructions executed in the decode loop per output sample and per
# function, and estimates ARM1176 cycles and the clock that real time needs
# with the cycle model documented in bench/arm/count.py. Writes the ARM
# section of docs/performance.md (between its "arm-measure" markers; the rest
# of the file, which bench/report.sh writes, is left as it is).
#
#   bash bench/arm/measure.sh [--quick] [--mp3d-only] [--no-install] [BUILD_DIR]
#
# --quick: one 3-second stream (128 kbit/s), mp3d and libmad only, and the
#          document is not written (a smoke check).
# --mp3d-only: every stream, mp3d only, the section printed and the
#          document not written (for working on the kernels).
# --no-install: use what is installed; peers whose armel packages are
#          missing are left out.
# BUILD_DIR defaults to build-arm-measure. Installs (as root, through apt)
# the cross compiler, qemu-user, lame, twolame, sox and, with Debian's
# multiarch (dpkg --add-architecture armel), libmad0-dev:armel and
# libmpg123-dev:armel. Debian's libmad0-dev is not co-installable across
# architectures: the armel one replaces the host's, which bench/report.sh
# uses for its x86 peer figures (reinstall libmad0-dev after this script).
set -euo pipefail
src=$(cd "$(dirname "$0")/../.." && pwd)
here=$src/bench/arm
quick=0
mp3d_only=0
install=1
build=""
for arg in "$@"; do
  case "$arg" in
    --quick) quick=1 ;;
    --mp3d-only) mp3d_only=1 ;;
    --no-install) install=0 ;;
    -*) echo "usage: measure.sh [--quick] [--mp3d-only] [--no-install] [BUILD_DIR]" >&2; exit 2 ;;
    *) build=$arg ;;
  esac
done
build=${build:-$src/build-arm-measure}
mkdir -p "$build"
build=$(cd "$build" && pwd)
triple=arm-linux-gnueabi
multiarch=/usr/lib/$triple
log() { echo "measure.sh: $*" >&2; }

# ---- tools and peers ----
missing() {
  local p out=()
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || out+=("$p")
  done
  echo "${out[@]}"
}
apt_install() {
  export DEBIAN_FRONTEND=noninteractive
  apt-get install -y -qq "$@" >/dev/null 2>&1 ||
    { apt-get update -qq >/dev/null 2>&1 && apt-get install -y -qq "$@" >/dev/null 2>&1; }
}
if [ "$install" = 1 ]; then
  need=$(missing gcc-$triple qemu-user lame twolame sox python3 gcc)
  if [ -n "$need" ]; then
    log "installing $need"
    apt_install $need
  fi
  need=$(missing libmad0-dev:armel libmpg123-dev:armel)
  if [ -n "$need" ]; then
    log "installing the armel peers: $need"
    if ! dpkg --print-foreign-architectures | grep -qx armel; then
      dpkg --add-architecture armel
      apt-get update -qq >/dev/null 2>&1 || true
    fi
    apt_install $need || log "the armel peers could not be installed: measuring without them"
  fi
fi
for tool in $triple-gcc $triple-nm $triple-size qemu-arm python3 cc lame twolame sox; do
  command -v "$tool" >/dev/null || { log "$tool is missing"; exit 1; }
done

# ---- builds ----
log "cross-building the library (Release, -march=armv6 -marm)"
cmake -S "$src" -B "$build/lib" -DCMAKE_TOOLCHAIN_FILE="$src/cmake/toolchain-armv6.cmake" \
  -DCMAKE_BUILD_TYPE=Release -DMP3D_BUILD_TESTS=OFF -DMP3D_BUILD_TOOLS=OFF \
  -DMP3D_BUILD_GSTREAMER=OFF >/dev/null
cmake --build "$build/lib" -j2 --target mp3d_static mp3d >/dev/null

decoders=(mp3d)
flags=()
libs=()
if [ "$mp3d_only" = 0 ] && [ -f "$multiarch/libmad.a" ] && [ -f /usr/include/mad.h ]; then
  decoders+=(libmad)
  flags+=(-DMEASURE_HAVE_MAD)
  libs+=("$multiarch/libmad.a")
fi
if [ "$quick" = 0 ] && [ "$mp3d_only" = 0 ] && [ -f "$multiarch/libmpg123.so" ]; then
  decoders+=(libmpg123)
  flags+=(-DMEASURE_HAVE_MPG123 -I/usr/include/$triple)
  libs+=(-L"$multiarch" -Wl,-rpath-link,"$multiarch:/lib/$triple" -lmpg123)
fi
log "decoders: ${decoders[*]}"
# Not position-independent, so that the static parts sit at their link
# addresses; shared libraries are placed by the driver's "object" lines.
$triple-gcc -std=c11 -O2 -march=armv6 -marm -Wall -Wextra -Werror -no-pie \
  -I"$src/include" "${flags[@]}" "$here/driver.c" -o "$build/driver" \
  "$build/lib/libmp3d.a" "${libs[@]}" -Wl,-z,noexecstack
$triple-gcc -nostdlib -static -march=armv6 -marm "$here/known_count.S" -o "$build/known_count"
cc -std=c11 -O2 -Wall -Wextra -Werror "$here/tb_filter.c" -o "$build/tb_filter"
python3 "$here/count.py" selftest >&2

# Libraries the driver loads (libmpg123) are found where multiarch put them.
qemu=(qemu-arm -cpu arm1176 -L "/usr/$triple" -E "LD_LIBRARY_PATH=$multiarch:/lib/$triple")

# Runs one program under qemu with block logging; the log goes through a
# FIFO into tb_filter. Writes OUT.blocks and OUT.stdout.
run_logged() { # OUT PROGRAM ARGS...
  local out=$1 prog=$2
  shift 2
  local begin end fifo
  begin=$($triple-nm "$prog" | awk '$3 == "measure_begin" {print $1}')
  end=$($triple-nm "$prog" | awk '$3 == "measure_end" {print $1}')
  fifo=$(mktemp -u "$build/log.XXXXXX")
  mkfifo -m 600 "$fifo"
  "$build/tb_filter" "$begin" "$end" <"$fifo" >"$out.blocks" 2>"$out.filter" &
  local filter=$!
  "${qemu[@]}" -d in_asm,exec,nochain -D "$fifo" "$prog" "$@" >"$out.stdout" || {
    log "$prog $* failed"
    kill "$filter" 2>/dev/null || true
    rm -f "$fifo"
    return 1
  }
  wait "$filter" || { cat "$out.filter" >&2; rm -f "$fifo"; return 1; }
  rm -f "$fifo"
}

# ---- the counter on a program whose count is known ----
log "validating the counter"
run_logged "$build/known" "$build/known_count"
echo "object 0x00000000 (main) $build/known_count" >"$build/known.objects"
python3 "$here/count.py" count "$build/known.blocks" "$build/known.objects" $triple-nm 1 1 \
  >"$build/known.json"
validation=$(python3 - "$build/known.json" <<'EOF'
import json, sys
r = json.load(open(sys.argv[1]))
n = 100000
fn = {f["name"]: f["instructions"] for f in r["functions"]}
want = {"measure_begin": 3 * n + 3, "work": 3 * n}
ok = fn == want and r["instructions"] == 6 * n + 3 and r["cycles"] == 7.5 * n + 3.5
print(f"{'passed' if ok else 'FAILED'}: counted {r['instructions']} instructions "
      f"(measure_begin {fn.get('measure_begin')}, work {fn.get('work')}), expected "
      f"{6 * n + 3} ({3 * n + 3} and {3 * n}); model {r['cycles']:.1f} cycles, expected "
      f"{7.5 * n + 3.5:.1f}")
sys.exit(0 if ok else 1)
EOF
) || { log "counter validation $validation"; exit 1; }
log "counter validation $validation"

# ---- streams ----
streams_dir=$build/streams
mkdir -p "$streams_dir"
seconds=20
[ "$quick" = 1 ] && seconds=3
# libmpg123 on armel decodes in software floating point, about 17 times
# mp3d's instructions: it decodes the first seconds of the same signal only,
# which keeps the whole run within minutes.
mpg123_seconds=2
signals() { # SECONDS: the test signal (its first SECONDS) at the three rates
  local s=$1
  if [ ! -s "sig44_$s.wav" ]; then
    if [ "$s" = "$seconds" ]; then
      python3 "$src/bench/gen_signal.py" "sig44_$s.wav" 44100 2 "$s"
    else
      sox -q "sig44_$seconds.wav" "sig44_$s.wav" trim 0 "$s"
    fi
  fi
  [ -s "sig22m_$s.wav" ] || sox -q "sig44_$s.wav" -r 22050 -c 1 "sig22m_$s.wav"
  [ -s "sig48_$s.wav" ] || sox -q "sig44_$s.wav" -r 48000 "sig48_$s.wav"
}
(cd "$streams_dir" && signals "$seconds" && signals "$mpg123_seconds") >&2
# name | rate x channels | encoder command (the input's prefix last)
streams=("l3_44k_joint_128|88200|lame --quiet --noreplaygain -b 128 -m j sig44"
         "l3_44k_joint_320|88200|lame --quiet --noreplaygain -b 320 -m j sig44"
         "l3_22k_mono_64|22050|lame --quiet --noreplaygain -b 64 -m m sig22m"
         "l2_48k_stereo_192|96000|twolame --quiet -b 192 -m s sig48")
[ "$quick" = 1 ] && streams=("${streams[0]}")

encode() { # NAME ENCODER SECONDS: prints the stream's path, encoding it once
  local name=$1 encoder=$2 s=$3 ext=mp3 cmd
  case "$name" in l2_*) ext=mp2 ;; esac
  local file=$streams_dir/${name}_$s.$ext
  if [ ! -s "$file" ]; then
    read -r -a cmd <<<"$encoder"
    (cd "$streams_dir" &&
      "${cmd[@]::${#cmd[@]}-1}" "${cmd[${#cmd[@]} - 1]}_$s.wav" "$file") >&2
  fi
  echo "$file"
}

# ---- measurements ----
results=()
for entry in "${streams[@]}"; do
  IFS='|' read -r name rate encoder <<<"$entry"
  for d in "${decoders[@]}"; do
    s=$seconds
    [ "$d" = libmpg123 ] && s=$mpg123_seconds
    file=$(encode "$name" "$encoder" "$s")
    log "$name ($s s): $d"
    out=$build/${name}__$d
    run_logged "$out" "$build/driver" "${d#lib}" "$file"
    samples=$(awk '$1 == "samples" {print $2}' "$out.stdout")
    sed "s|^object 0x00000000 (main)$|object 0x00000000 (main) $build/driver|" \
      "$out.stdout" | grep '^object' >"$out.objects"
    python3 "$here/count.py" count "$out.blocks" "$out.objects" $triple-nm "$samples" "$rate" \
      >"$out.json"
    results+=("$out.json")
    rm -f "$out.blocks"
  done
done

section=$build/arm_section.md
python3 "$here/count.py" report "${results[@]}" >"$build/tables.md"
size_line=$($triple-size "$build/lib/libmp3d.so" | awk 'NR == 2 {
  printf "text %d, data %d, bss %d bytes", $1, $2, $3}')
{
  echo "<!-- arm-measure begin: written by bench/arm/measure.sh; do not edit by hand -->"
  echo "## ARMv6 (ARM1176), by emulation"
  echo
  echo "Generated by \`bash bench/arm/measure.sh\` on $(date -u +%Y-%m-%d)."
  echo
  echo "Each decoder decodes ${seconds}-second streams from memory to 16-bit PCM under"
  echo "\`qemu-arm -cpu arm1176\` ($(qemu-arm --version | head -1 | sed 's/ (.*//'))."
  echo "Every executed translation block is logged (\`-d in_asm,exec,nochain\`); only"
  echo "what runs between the driver's \`measure_begin\` and \`measure_end\` calls, the"
  echo "decode loop with the conversion to 16 bits, is counted. Samples are counted per"
  echo "channel-sample; *MHz for real time* is the estimated cycles per second of audio."
  echo "Streams: the music-like signal of \`bench/gen_signal.py\` encoded by lame (Layer III)"
  echo "and twolame (Layer II). Decoders: mp3d built Release \`-march=armv6 -marm\` with its"
  echo "ARMv6 kernel set; libmad (\`libmad0-dev:armel\`, linked statically, its ARM"
  echo "assembly) and libmpg123 (\`libmpg123-0:armel\`, whose only decoder on armel is the"
  echo "floating-point \`generic\` one, software floating point: for reference only, and"
  echo "measured on the first ${mpg123_seconds} seconds of each stream's signal), both Debian's"
  echo "armel builds used as black boxes."
  echo
  echo "Counter validation (\`bench/arm/known_count.S\`): $validation."
  echo
  cat "$build/tables.md"
  echo
  echo "Cycle model (\`bench/arm/count.py\`): an in-order, single-issue ARM1176 with the"
  echo "issue cycles and result latencies of the instruction timing chapter of the"
  echo "ARM1176JZF-S Technical Reference Manual, simplified: data processing 1 cycle (2"
  echo "with a register-specified shift); loads 1 cycle with the result 3 cycles later;"
  echo "LDM/STM/PUSH/POP two registers a cycle; 16x16 and 32x16 multiplies 1 cycle"
  echo "(result after 3), MUL/MLA/SMMUL/SMMLA 2 (4), 64-bit products 3 (5); a"
  echo "multiply-accumulate's accumulator and a store's data are not waited for; every"
  echo "branch or write to the pc 1 cycle, with 10% of them mispredicted at 5 cycles;"
  echo "interlocks only within a block; no caches misses, wait states or TLB stalls."
  echo "Real hardware is slower, most where data outgrow the 16 KB data cache; the"
  echo "ratios between decoders are the meaningful figures."
  echo
  echo "Library size on ARMv6 (\`$triple-size\` of libmp3d.so): $size_line."
  echo "<!-- arm-measure end -->"
} >"$section"

if [ "$quick" = 1 ] || [ "$mp3d_only" = 1 ]; then
  cat "$section"
  log "partial run: docs/performance.md left unchanged"
  exit 0
fi

doc=$src/docs/performance.md
python3 - "$doc" "$section" <<'EOF'
import re, sys
doc, section = sys.argv[1], open(sys.argv[2]).read()
try:
    text = open(doc).read()
except FileNotFoundError:
    text = "# Performance\n"
pattern = re.compile(r"<!-- arm-measure begin.*?<!-- arm-measure end -->\n", re.S)
if pattern.search(text):
    text = pattern.sub(lambda m: section, text)
else:
    text = text.rstrip("\n") + "\n\n" + section
open(doc, "w").write(text)
EOF
log "wrote the ARM section of $doc"

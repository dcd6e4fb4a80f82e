#!/usr/bin/env bash
# CI job: the GStreamer element, the gapless LAME round trip and the package.
# Installs GStreamer (development files, tools, base and good plugins), lame,
# twolame and sox, reconfigures the suite's build so that the element is built, and
# runs: the element-against-tool pipeline test (which must not skip here),
# the LAME round trip through `mp3d decode`, the install-and-consume test,
# the README examples, and a Debian package built with cpack.
set -uo pipefail
root="$1" build="$2"
pkgs=(libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev gstreamer1.0-tools
      gstreamer1.0-plugins-base gstreamer1.0-plugins-good lame twolame sox)
missing=()
for p in "${pkgs[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2> /dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
    if [ "$(id -u)" -ne 0 ]; then echo "missing packages: ${missing[*]}"; echo "0 passed, 1 failed"; exit 1; fi
    apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}" > /dev/null ||
        { echo "apt-get install failed"; echo "0 passed, 1 failed"; exit 1; }
fi
passed=0 failed=0
step() {  # step DESCRIPTION COMMAND...
    local what="$1"; shift
    echo "-- $what"
    if "$@"; then passed=$((passed + 1)); else echo "FAIL: $what"; failed=$((failed + 1)); fi
}
step "configure with GStreamer" cmake -S "$root" -B "$build" -DMP3D_BUILD_GSTREAMER=ON
step "build" cmake --build "$build" -j2
mp3d="$build/cli/mp3d"
step "GStreamer pipelines against mp3d decode" bash "$root/tests/gstreamer/gst_pipeline.sh" "$mp3d" "$build/gstreamer" "$root" "$build/tests"
step "LAME round trip is gapless" "$build/tests/mp3d_tests" --gtest_filter='ToolGapless.LameFileDecodesGapless' --gtest_brief=1
step "the round trip ran (not skipped)" bash -c "'$build/tests/mp3d_tests' --gtest_filter='ToolGapless.LameFileDecodesGapless' | grep -q '1 test.*PASSED\|PASSED.*1 test'"
step "install and consume" bash "$root/tests/install/install_consume.sh" "$build" "$root" "$mp3d"
step "README examples" bash "$root/tests/readme_examples.sh" "$root" "$build" "$mp3d"
deb_contents() {
    (cd "$build" && rm -f mp3d_*.deb && cpack -G DEB > /dev/null) || return 1
    local deb
    deb="$(ls "$build"/mp3d_*.deb)" || return 1
    dpkg-deb -c "$deb" > "$build/deb-contents.txt" || return 1
    for f in include/mp3d.h libmp3d.so libmp3d.a pkgconfig/mp3d.pc cmake/mp3d/mp3dConfig.cmake bin/mp3d gstreamer-1.0/libgstmp3d.so; do
        grep -q "$f" "$build/deb-contents.txt" || { echo "not in the package: $f"; return 1; }
    done
}
step "cpack DEB holds header, libraries, pkg-config, CMake package, tool and plugin" deb_contents
# The package's plugin is where the system's GStreamer looks: unpacked into a
# scratch root, gst-inspect-1.0 finds mp3ddec with the system plugin path
# moved under that root (and nothing else on it). The package declares what
# it links against.
deb_plugin() {
    local deb scratch plugins
    deb="$(ls "$build"/mp3d_*.deb)" || return 1
    scratch="$build/deb-root"
    rm -rf "$scratch" && dpkg -x "$deb" "$scratch" || return 1
    plugins="$(pkg-config --variable=pluginsdir gstreamer-1.0)" || return 1
    [ -f "$scratch$plugins/libgstmp3d.so" ] || { echo "plugin not in $plugins"; return 1; }
    # Outputs are captured before they are searched: `grep -q` stops reading at
    # the first match, and under pipefail the writer's SIGPIPE would fail the
    # check at random.
    local inspect depends
    inspect="$(env -u GST_PLUGIN_PATH GST_PLUGIN_SYSTEM_PATH_1_0="$scratch$plugins" \
        GST_REGISTRY_1_0="$build/deb-registry.bin" gst-inspect-1.0 mp3ddec 2>&1)"
    grep -q 'Codec/Decoder/Audio' <<< "$inspect" ||
        { echo "gst-inspect-1.0 does not find mp3ddec in the unpacked package:"; echo "$inspect" | head -20; return 1; }
    depends="$(dpkg-deb -f "$deb" Depends)"
    grep -q 'libgstreamer1.0-0' <<< "$depends" || { echo "Depends lacks GStreamer: $depends"; return 1; }
}
step "cpack DEB installs the plugin in GStreamer's plugin directory, with its Depends" deb_plugin
echo "gstreamer-install: $passed passed, $failed failed"
[ "$failed" -eq 0 ]

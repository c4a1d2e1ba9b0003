#!/usr/bin/env bash
# Shows Quenstal on a machine without a desktop: a private audio session, an X server, real volume keys, and a monitor
# emulated behind its real device nodes. Everything that is started here ends here.
#
#   private_desktop.sh BUILD_FOLDER [hardware | software]    one act, or both
set -euo pipefail
build=$(realpath "$1")
acts=("${@:2}")
[ "${#acts[@]}" -gt 0 ] || acts=(hardware software)
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
quenstal=$build/Sources/quenstal
story=("$root/tools/audio_session.sh" run "$build/Examples/AudioSession/audio_session_card"
    python3 "$here/story.py")

hardware() {
    echo "== A monitor that takes its volume over DDC/CI"
    local emulation=$build/Examples/EmulatedMonitor/with-emulated-monitor
    if command -v umockdev-wrapper >/dev/null && [ -x "$emulation" ]; then
        umockdev-wrapper "$emulation" --layout hdmi --volume 50 -- "${story[@]}" hardware "$quenstal"
    else
        echo "Left out: umockdev is not installed."
    fi
    echo
}

software() {
    echo "== A monitor without DDC/CI"
    "${story[@]}" software "$quenstal"
}

for act in "${acts[@]}"; do "$act"; done

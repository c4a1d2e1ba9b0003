#!/usr/bin/env bash
# Shows Quenstal on a machine without a desktop, from the first start to the last: see story.py. Whatever is started here
# ends here, also when it is interrupted.
#
#   private_desktop.sh BUILD_FOLDER [PICTURE_FOLDER]
set -euo pipefail
build=$1
here=$(cd "$(dirname "$0")" && pwd)
missing=()
for program in Xvfb openbox trayer xdotool setxkbmap xclip pipewire wireplumber dbus-daemon umockdev-wrapper; do
    command -v "$program" >/dev/null || missing+=("$program")
done
/usr/bin/python3 -c 'import gi' 2>/dev/null || missing+=(python3-gi)
if [ "${#missing[@]}" -gt 0 ]; then
    echo "A private desktop cannot be made here. Missing: ${missing[*]}"
    exit 1
fi
exec /usr/bin/python3 "$here/guarded.py" "$here/../../tools/audio_session.sh" run \
    "$build/Examples/AudioSession/audio_session_card" \
    /usr/bin/python3 "$here/story.py" "$build" "${2:-$build/story}"

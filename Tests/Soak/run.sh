#!/usr/bin/env bash
# The soak on a desktop and with a sound server of its own, which end with it.
#
#   run.sh BUILD_FOLDER MINUTES [SEED]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
exec /usr/bin/python3 "$root/Examples/PrivateDesktop/guarded.py" "$root/tools/audio_session.sh" run \
    "$1/Examples/AudioSession/audio_session_card" /usr/bin/python3 "$here/soak.py" "$@"

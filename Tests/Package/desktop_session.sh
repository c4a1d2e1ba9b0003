#!/usr/bin/env bash
# A session as desktops have it: an X server, a tray, what the user's services have to know of them, and a target that
# they belong to. SIGTERM is the way to log out; an X server that ends, ends it too.
set -euo pipefail

exec 3< <(exec Xvfb -displayfd 1 -screen 0 1024x768x24 -nolisten tcp 2>/dev/null)
server=$!
trap 'systemctl --user stop desktop.target; kill "$server" 2>/dev/null || true' EXIT
trap 'exit 0' TERM
read -r display <&3
export DISPLAY=:$display
dbus-update-activation-environment --systemd DISPLAY
trayer --SetDockType true --SetPartialStrut true &
systemctl --user start desktop.target
wait "$server"

#!/usr/bin/env bash
# On the emulated machine, once it is up: measures how slow it is, and runs the command that PLACE/command holds within a
# limit to match. Leaves the command's status in PLACE/status.
#
#   run_command.sh PLACE USUAL_BOOT USUAL_LIMIT    seconds that a machine of the usual speed takes to boot, and gives to
#                                                  the command
#
# QUENSTAL_MACHINE_SLOWNESS tells the command by what factor to lengthen its own limits.
set -u

place=$1
usual_boot=$2
usual_limit=$3
read -r uptime _ </proc/uptime
boot=${uptime%.*}
slowness=$(((boot + usual_boot - 1) / usual_boot))
export QUENSTAL_MACHINE_SLOWNESS=$((slowness > 1 ? slowness : 1))
limit=$((usual_limit * QUENSTAL_MACHINE_SLOWNESS))
echo "This machine booted in $boot s instead of $usual_boot s: limits are $QUENSTAL_MACHINE_SLOWNESS times the usual ones." |
    tee "$place/booted"

status=0
timeout --kill-after=5 "$limit" bash "$place/command" || status=$?
# Asked to, or by force.
if [ "$status" = 124 ] || [ "$status" = 137 ]; then
    echo "The command reached its limit of $limit s ($QUENSTAL_MACHINE_SLOWNESS times $usual_limit s) in what it printed last," \
        "and was ended: $(cat "$place/command")"
    echo "0 passed, 1 failed"
fi
echo "$status" >"$place/status"

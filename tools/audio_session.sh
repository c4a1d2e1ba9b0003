#!/usr/bin/env bash
# A private audio session: its own directories, bus, PipeWire, WirePlumber and Pulse front end, seen by nobody else.
#
#   tools/audio_session.sh run CARD_PROGRAM COMMAND...   starts a session, runs the command in it, stops everything it
#                                                        started; exits with the command's status
# CARD_PROGRAM is audio_session_card of Examples/AudioSession; audio_session_probe beside it plays a tone and measures
# what an output is sent.
#
# Within the session, for the command and its children:
#   audio_session.sh plug NAME       plugs an output in and waits until the server shows it (see sound_card.cpp)
#   audio_session.sh unplug NAME     unplugs it
#   audio_session.sh stop PART       stops a part: server, manager or pulse
#   audio_session.sh start PART      starts it again and waits until it answers
#
# On a machine that cannot run a session, the reason is printed and the command runs without one; QUENSTAL_AUDIO_SESSION
# is then not set.
set -euo pipefail

# wait_for SECONDS COMMAND...: until the command succeeds. A machine known to be slow gets QUENSTAL_PATIENCE times as
# long.
wait_for() {
    local limit=$((SECONDS + $1 * ${QUENSTAL_PATIENCE:-1}))
    shift
    until "$@" >/dev/null 2>&1; do
        [ "$SECONDS" -lt "$limit" ] || { echo "audio session: did not succeed in time: $*" >&2; return 1; }
        sleep 0.01
    done
}

# Where nothing reaps them, processes that have exited remain as zombies.
has_ended() { ! kill -0 "$1" 2>/dev/null || grep -q '^State:.Z' "/proc/$1/status"; }

# launch NAME COMMAND...: in the background, keeping its process number and its output.
launch() {
    local name=$1
    shift
    "$@" >"$dir/$name.log" 2>&1 &
    echo $! >"$dir/$name.pid"
}

# end NAME: stops it and waits until it has exited.
end() {
    local pid
    [ -f "$dir/$1.pid" ] || return 0
    pid=$(cat "$dir/$1.pid")
    rm -f "$dir/$1.pid"
    kill "$pid" 2>/dev/null || return 0
    wait_for 5 has_ended "$pid" || kill -9 "$pid"
}

server_answers() { [ -S "$XDG_RUNTIME_DIR/pipewire-0" ] && pw-cli info 0; }
manager_answers() { pw-cli ls Metadata | grep -q '"default"'; }
pulse_answers() { [ -S "$XDG_RUNTIME_DIR/pulse/native" ]; }

start_part() {
    case $1 in
        server) launch server pipewire && wait_for 5 server_answers ;;
        manager) launch manager wireplumber && wait_for 10 manager_answers ;;
        pulse) ! command -v pipewire-pulse >/dev/null || { launch pulse pipewire-pulse && wait_for 5 pulse_answers; } ;;
    esac
}

plug() {
    launch "card-$1" "$QUENSTAL_AUDIO_CARD" "$1"
    wait_for 5 grep -q ready "$dir/card-$1.log"
}

run() {
    local missing=() program status=0
    for program in pipewire wireplumber dbus-daemon pw-cli; do
        command -v "$program" >/dev/null || missing+=("$program")
    done
    [ "${#missing[@]}" = 0 ] || {
        echo "no private audio session: ${missing[*]} missing" >&2
        shift
        exec "$@"
    }

    dir=$(mktemp -d "${TMPDIR:-/tmp}/quenstal-audio.XXXXXX")
    trap 'trap - EXIT INT TERM; finish' EXIT INT TERM
    mkdir -m 700 "$dir/run" "$dir/home" "$dir/config" "$dir/state"
    unset DISPLAY WAYLAND_DISPLAY
    export XDG_RUNTIME_DIR=$dir/run PIPEWIRE_RUNTIME_DIR=$dir/run HOME=$dir/home XDG_CONFIG_HOME=$dir/config
    export XDG_STATE_HOME=$dir/state XDG_CACHE_HOME=$dir/home/.cache PULSE_RUNTIME_PATH=$dir/run/pulse
    export PULSE_SERVER=unix:$dir/run/pulse/native DBUS_SESSION_BUS_ADDRESS=unix:path=$dir/run/bus
    export QUENSTAL_AUDIO_SESSION=$dir QUENSTAL_AUDIO_CARD=$1
    shift
    launch bus dbus-daemon --session --nofork --nopidfile --address="$DBUS_SESSION_BUS_ADDRESS"
    wait_for 5 [ -S "$dir/run/bus" ]
    start_part server
    start_part manager
    start_part pulse
    "$@" || status=$?
    exit "$status"
}

finish() {
    local pid_file
    # In this order no part loses another that it needs.
    for pid_file in "$dir"/card-*.pid "$dir"/pulse.pid "$dir"/manager.pid "$dir"/server.pid "$dir"/bus.pid; do
        [ ! -f "$pid_file" ] || end "$(basename "$pid_file" .pid)"
    done
    rm -rf "$dir"
}

command=${1:-}
[ "$#" = 0 ] || shift
if [ "$command" = run ] && [ "$#" -ge 2 ]; then
    run "$@"
fi
dir=${QUENSTAL_AUDIO_SESSION:-}
if [ -z "$dir" ] || [ "$#" != 1 ]; then
    sed -n '2,18s/^# \{0,1\}//p' "$0"
    exit 2
fi
case $command in
    plug) plug "$1" ;;
    unplug) end "card-$1" ;;
    stop) end "$1" ;;
    start) start_part "$1" ;;
    *) exit 2 ;;
esac

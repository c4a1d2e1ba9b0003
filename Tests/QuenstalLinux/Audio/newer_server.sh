#!/usr/bin/env bash
# The tests of sound against a newer server and session manager, with the programs that were built here.
#
#   newer_server.sh CARD_PROGRAM TEST_PROGRAM...    ends with the sum of the programs' closing lines
set -uo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../.." && pwd)
card=$1
shift
passed=0 failed=0 skipped=0
for program in "$@"; do
    output=$("$root/tools/in_debian_13.sh" "$root/tools/audio_session.sh" run "$card" "$program" --gtest_brief=1 2>&1)
    status=$?
    echo "$output"
    if [ "$status" = 77 ]; then
        skipped=$((skipped + 1))
    elif [[ $(tail -n 1 <<<"$output") =~ ^([0-9]+)\ passed,\ ([0-9]+)\ failed(,\ ([0-9]+)\ skipped)?$ ]]; then
        passed=$((passed + BASH_REMATCH[1]))
        failed=$((failed + BASH_REMATCH[2]))
        skipped=$((skipped + ${BASH_REMATCH[4]:-0}))
    else
        echo "$program ended with $status and without a closing line"
        failed=$((failed + 1))
    fi
done
echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" = 0 ]

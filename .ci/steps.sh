# shellcheck shell=bash
# For .ci/run and script/soak, which source it: runs steps and counts.
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT
passed=0 failed=0 times=

# Puts into `spent` the seconds of a processor that all steps have taken so far.
count_spent() {
  times >"$logs/times" # in this shell: another one counts its own children
  spent=$(awk -F '[ms ]+' 'NR == 2 { printf "%d", 60 * ($1 + $3) + $2 + $4 }' "$logs/times")
}

# step NAME COMMAND...: runs one step. One that counts tests in its last line
# adds its counts, any other counts as one.
step() {
  local name=$1 began=$SECONDS status counts before
  count_spent
  before=$spent
  shift
  printf '\n=== %s\n' "$name"
  "$@" 2>&1 | tee "$logs/step"
  status=${PIPESTATUS[0]}
  counts=$(sed -n '$s/^\([0-9]*\) passed, \([0-9]*\) failed$/\1 \2/p' "$logs/step")
  # shellcheck disable=SC2086 # two numbers, or none
  set -- ${counts:-0 0}
  passed=$((passed + $1)) failed=$((failed + $2))
  if [ "$status" -ne 0 ] && [ "$2" -eq 0 ]; then
    failed=$((failed + 1))
  elif [ -z "$counts" ]; then
    passed=$((passed + 1))
  fi
  count_spent
  times+=$(printf '\n%-28s exit status %s, %5d s, %5d of a processor' \
    "$name" "$status" $((SECONDS - began)) $((spent - before)))
}

# The times of all steps, and as the last line the counts.
summary() {
  printf '%s\n\n%s passed, %s failed\n' "$times" "$passed" "$failed"
  [ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
}

# shellcheck shell=bash
# For .ci/run and script/soak, which source it: runs steps and counts.
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT
passed=0 failed=0 times=

# step NAME COMMAND...: runs one step. One that counts tests in its last line
# adds its counts, any other counts as one.
step() {
  local name=$1 began=$SECONDS status counts
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
  times+=$(printf '\n%-28s exit status %s, %5d s' "$name" "$status" $((SECONDS - began)))
}

# The times of all steps, and as the last line the counts.
summary() {
  printf '%s\n\n%s passed, %s failed\n' "$times" "$passed" "$failed"
  [ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
}

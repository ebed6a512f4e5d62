# For the test scripts, which source it: a folder of their own, $work, that others may look into and that goes with the script; and commands
# that are silent unless they fail.
work="$(mktemp -d)"
trap 'chmod -R u+w "$work"; rm -rf "$work"' EXIT
chmod 755 "$work"

quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; echo "failed: $*"; exit 1; }; }

expect() { # expect TEXT COMMAND...: the command succeeds and prints the text
  local text="$1"
  shift
  quietly "$@"
  grep -qF -- "$text" "$work/log" || { cat "$work/log"; echo "no '$text' from: $*"; exit 1; }
}

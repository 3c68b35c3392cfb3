# Helpers shared by the kestrin_search tests: a scratch directory, failure
# reports and checks of a command's exit status and messages.
set -euo pipefail
tool=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() { echo "FAIL: $*" >&2; exit 1; }

# expect_status STATUS TEXT COMMAND...: runs the tool with COMMAND, which must
# exit with STATUS and print TEXT (a fixed string) on stdout or stderr.
expect_status() {
  local want=$1 text=$2 status=0 out
  shift 2
  out=$("$tool" "$@" 2>&1) || status=$?
  [ "$status" -eq "$want" ] || fail "$* exited $status, not $want: $out"
  [[ $out == *"$text"* ]] || fail "$* did not say '$text': $out"
}

# make_db FILE KEY SQL: runs SQL on an encrypted database.
make_db() { sqlcipher "$1" "PRAGMA key='$2'; $3" >/dev/null; }

#!/usr/bin/env bash
# The demo makes the same encrypted sample database every time, indexes it
# and finds the expected rows on its tour; run again, it reuses what it made.
source "$(dirname "$0")/test_lib.sh"

out=$("$tool" demo --dir demo --color never 2>progress.txt)
[[ $out == *"38 contacts and 3,000 messages"* ]] || fail "demo: $out"
grep -q "message: 3000 of 3000 rows (100%)" progress.txt || fail "progress: $(cat progress.txt)"
# Tour stops: the header of each, then its best rows.
# A here-string, not a pipe: grep -q stops reading at the first match, and
# under pipefail the writer's broken pipe would fail a check that matched.
has() { grep -Eq "$1" <<<"$out" || fail "the tour lacks /$1/: $out"; }
has '^张: one Han character  \(index contact, 3 found\)$'
has '^ +1 +contact +6 +180 +name: \[单田芳\]$'
has '^zsf: .*1 found'
has '^ +1 +contact +2 +[0-9]+ +name: \[张三丰\]$'
has '^ +1 +contact +1 +[0-9]+ +name: \[张三\]$'           # zhangsan, 张san
has 'name: \[曾小\]贤$'                                   # cengx
has '^ +[0-9] +message +[0-9]+ +[0-9]+ +.*\[[Mm]eeting\]'
has '^ +[0-9] +message +[0-9]+ +[0-9]+ +我的新号码是\[13812345678\]'

# The database is encrypted: no text in the file, readable with the key.
! grep -q "单田芳" demo/sample-chat.db || fail "the sample database is not encrypted"
counts=$(sqlcipher demo/sample-chat.db "PRAGMA key='kestrin-demo';
  SELECT (SELECT count(*) FROM contact) || ' ' || (SELECT count(*) FROM message);" | tail -1)
[ "$counts" = "38 3000" ] || fail "sample rows: $counts"

# A second run reuses the database and the index and tours the same way; a
# fresh directory gets the very same rows (fixed seed).
again=$("$tool" demo --dir demo --color never 2>/dev/null)
[[ $again == *"Using the sample chat database made before"* ]] || fail "rerun: $again"
[ "$(echo "$again" | sed 1d)" = "$(echo "$out" | sed 1,2d)" ] || fail "the rerun toured differently"
"$tool" demo --dir demo2 --color never >/dev/null 2>&1
dump() { sqlcipher "$1" "PRAGMA key='kestrin-demo'; SELECT * FROM contact; SELECT * FROM message;"; }
[ "$(dump demo/sample-chat.db)" = "$(dump demo2/sample-chat.db)" ] || fail "sample data differ"
echo ok

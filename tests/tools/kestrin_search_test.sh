#!/usr/bin/env bash
# End-to-end run of the command-line tool on an encrypted database made with
# the sqlcipher shell: index, search by pinyin, initials, Chinese and Latin,
# resume after new rows, abstracts and pinyin conversion.
set -euo pipefail
tool=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() { echo "FAIL: $*" >&2; exit 1; }
sql() { sqlcipher chat.db "PRAGMA key='k3y'; $1" >/dev/null; }
search() { "$tool" search --root idx --index contact "$@"; }
expect_keys() { # query, expected pkey_arr text
  local out
  out=$(search "$1")
  [[ $out == *"\"pkey_arr\":[$2]"* ]] || fail "query $1 gave $out"
}

sql "CREATE TABLE contact(id INTEGER PRIMARY KEY, name TEXT, note TEXT);
     INSERT INTO contact(name, note) VALUES ('张三丰', 'taiji master'), ('李四', 'hello world 你好');"
"$tool" index --root idx --db chat.db --key k3y --table contact --pkey id --fields name,note --pinyin name \
  | grep -q 'indexed chat.db.contact' || fail "index run"

expect_keys zhangsanfeng '"1"'
expect_keys zsf '"1"'
expect_keys 张三 '"1"'
expect_keys hel '"2"'
[ "$(search nosuchword)" = null ] || fail "a miss must print null"

# A second run resumes from the recorded row id and indexes only what is new.
sql "INSERT INTO contact(name, note) VALUES ('王五', 'hello again');"
"$tool" index --root idx --db chat.db --key k3y --table contact --pkey id --fields name,note --pinyin name >/dev/null
expect_keys ww '"3"'
out=$(search hello)
[[ $out == *'"docs_found":2'* ]] || fail "hello after resume gave $out"

# The wrong key indexes nothing and fails.
if "$tool" index --root idx2 --db chat.db --key wrong --table contact --pkey id --fields name >/dev/null 2>&1; then
  fail "a wrong key must fail"
fi

[ "$("$tool" abstract --limit 10 '我和张三丰说' zsf)" = '我和<red>张三丰</red>说' ] || fail abstract

# Engine options: phone-number tails and traditional script, kept by the root.
sql "CREATE TABLE msg(id INTEGER PRIMARY KEY, body TEXT);
     INSERT INTO msg(body) VALUES ('愛 call 13812345678'), ('国 1358');"
opts=(--option infix_digits=4 --option fold=simplified)
"$tool" index --root oidx --db chat.db --key k3y --table msg --pkey id --fields body "${opts[@]}" >/dev/null \
  || fail "index with options"
osearch() { "$tool" search --root oidx --index msg "$@"; }
[[ $(osearch 5678) == *'"pkey_arr":["1"]'* ]] || fail "tail 5678"
[[ $(osearch 爱) == *'"pkey_arr":["1"]'* ]] || fail "folded 爱"
[[ $(osearch 國) == *'"pkey_arr":["2"]'* ]] || fail "folded 國"
[ "$(osearch 1358)" != null ] && [[ $(osearch 1358) != *'"1"'* ]] || fail "1358"
osearch --option fold=off 爱 >/dev/null 2>&1 && fail "an indexing option cannot change on a full index"
[ "$("$tool" abstract --option utf8=full 'un café noir' café)" = 'un <red>café</red> noir' ] || fail "utf8 abstract"
[ "$("$tool" abstract 'un café noir' café)" = 'un <red>caf</red>é noir' ] || fail "default abstract"
[ "$("$tool" pinyin 中)" = zhong ] || fail pinyin
"$tool" bogus >/dev/null 2>&1 && fail "unknown command must fail"
echo ok

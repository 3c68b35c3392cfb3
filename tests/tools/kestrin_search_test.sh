#!/usr/bin/env bash
# The tool end to end on an encrypted database made with the sqlcipher shell:
# index, search (JSON for pipes, a table for people), resume after new rows,
# delete, stats, compact, watch, abstracts and pinyin.
source "$(dirname "$0")/test_lib.sh"

search() { "$tool" search --root idx --index contact "$@"; }
expect_keys() { # query, expected pkey_arr text
  local out
  out=$(search "$1")
  [[ $out == *"\"pkey_arr\":[$2]"* ]] || fail "query $1 gave $out"
}

make_db chat.db k3y "CREATE TABLE contact(id INTEGER PRIMARY KEY, name TEXT, note TEXT);
     INSERT INTO contact(name, note) VALUES ('张三丰', 'taiji master'), ('李四', 'hello world 你好');"
"$tool" index --root idx --db chat.db --key k3y --table contact --pkey id --fields name,note --pinyin name 2>/dev/null \
  | grep -q 'indexed chat.db/contact as index contact' || fail "index run"

expect_keys zhangsanfeng '"1"'
expect_keys zsf '"1"'
expect_keys 张三 '"1"'
expect_keys hel '"2"'
[ "$(search nosuchword)" = null ] || fail "a miss gave $(search nosuchword)"

# --json is the engine's text unchanged; a pipe gets it by default.
[ "$(search --json zsf)" = '{"all_result":[{"table_name":"contact","db_name":"chat.db","key_field":"id","docs_found":1,"docs_return":1,"field_num":2,"field_list":"name,note","pkey_arr":["1"],"offset_arr":[0],"field_id_arr":[0],"weight_arr":[80],"group_arr":["default"]}]}' ] \
  || fail "json: $(search --json zsf)"
[ "$(search zsf)" = "$(search --json zsf)" ] || fail "a pipe must get the JSON text"

# The human table reads the row back (the index run noted file and key) and
# marks the match, in brackets without colour and in red with it.
out=$(search --format human --color never zsf)
[[ $out == *'1 hit for "zsf" in index contact'* ]] || fail "human header: $out"
grep -Eq '^ +1 +contact +1 +80 +name: \[张三丰\]$' <<<"$out" || fail "human row: $out"
out=$(search --format human --color never --field note hello)
grep -Eq '^ +1 +contact +2 .*note: \[hello\] world 你好$' <<<"$out" || fail "field row: $out"
[[ $(search --format human --color always zsf) == *$'\e[1;31m张三丰\e[0m'* ]] || fail "colour"
# Without the noted database the rows are listed and the note says why;
# --db/--key give it back.
mv chat.db moved.db
out=$(search --format human zsf)
[[ $out == *'texts not shown'* && $out != *'张三丰'* ]] || fail "missing database: $out"
[[ $(search --format human --db moved.db --key k3y zsf) == *'张三丰'* ]] || fail "--db"
mv moved.db chat.db

# A second run resumes from the recorded row id and indexes only what is new.
make_db chat.db k3y "INSERT INTO contact(name, note) VALUES ('王五', 'hello again');"
out=$("$tool" index --root idx --db chat.db --key k3y --table contact --pkey id --fields name,note --pinyin name 2>&1)
[[ $out == *'1 new rows, 3 rows in the table'* ]] || fail "resume: $out"
expect_keys ww '"3"'
[[ $(search hello) == *'"docs_found":2'* ]] || fail "hello after resume gave $(search hello)"
out=$(search --format human --limit 1 --start 1 --color never hello)
[[ $out == *'2 hits for "hello" in index contact (showing 2-2)'* ]] || fail "paging: $out"

# Delete by key, then compact the deleted document away.
expect_status 0 "3: removed from index contact" delete --root idx --index contact 3
expect_status 0 "9: not in index contact" delete --root idx --index contact 9
[[ $(search hello) == *'"docs_found":1'* ]] || fail "deleted row still found"
expect_status 0 "fewer than 1,000 deleted" compact --root idx
expect_status 0 "group default: compacted" compact --root idx --force
out=$("$tool" stats --root idx)
grep -Eq '^default +2 +0 ' <<<"$out" || fail "stats after compaction: $out"
[[ $out == *'table chat.db/contact, key id, group default, scanned up to row id 3'* ]] || fail "stats: $out"

# watch runs statements on its hooked connection; the index follows them.
out=$(printf "%s\n" "INSERT INTO contact(name, note) VALUES ('赵六', 'new');" \
  "UPDATE contact SET note = 'moved' WHERE id = 2;" "DELETE FROM contact WHERE id = 1;" \
  "SELECT nosuchcolumn;" | "$tool" watch --root idx --db chat.db --key k3y 2>/dev/null)
[ "$out" = "insert contact row 4: index contact updated
update contact row 2: index contact updated
delete contact row 1: index contact updated
error: no such column: nosuchcolumn" ] || fail "watch printed: $out"
expect_keys zl '"4"'
expect_keys moved '"2"'
[[ $(search zsf) != *'"1"'* ]] || fail "a row deleted under watch is still found"

# Clearing the table empties it and restarts its scan.
expect_status 0 "removed every row of chat.db/contact" delete --root idx --index contact --all
[[ $(search --json moved) != *pkey_arr* ]] || fail "cleared table still found"
"$tool" index --root idx --db chat.db --key k3y --table contact --pkey id --fields name,note >/dev/null 2>&1
expect_keys moved '"2"'

[ "$("$tool" abstract --limit 10 '我和张三丰说' zsf)" = '我和<red>张三丰</red>说' ] || fail abstract

# Engine options: phone-number tails and traditional script, kept by the root.
make_db chat.db k3y "CREATE TABLE msg(id INTEGER PRIMARY KEY, body TEXT);
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
# Names as users type them: the surname reading of 曾 is zeng, and the
# abstract marks what the search found.
make_db names.db k3y "CREATE TABLE contact(id INTEGER PRIMARY KEY, name TEXT);
     INSERT INTO contact(name) VALUES ('曾小贤'), ('单田芳');"
nopts=(--option name_readings=surname --option syllable_mix=on)
"$tool" index --root nidx --db names.db --key k3y --table contact --pkey id --fields name --pinyin name \
  "${nopts[@]}" >/dev/null || fail "index with name options"
nsearch() { "$tool" search --root nidx --index contact "$@"; }
[[ $(nsearch zengxiaoxian) == *'"pkey_arr":["1"]'* ]] || fail "zengxiaoxian: $(nsearch zengxiaoxian)"
[[ $(nsearch stfang) == *'"pkey_arr":["2"]'* ]] || fail "stfang"
[[ $(nsearch --option fuzzy=z-zh zhengxiaoxian) == *'"pkey_arr":["1"]'* ]] || fail "fuzzy"
[ "$("$tool" search --root idx --index contact zengxiaoxian)" = null ] || fail "a root without the option"
[ "$("$tool" abstract "${nopts[@]}" '曾小贤' zengxx)" = '<red>曾小贤</red>' ] || fail "name abstract"
[ "$("$tool" pinyin 中)" = zhong ] || fail pinyin
echo ok

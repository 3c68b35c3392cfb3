#!/usr/bin/env bash
# Each mistake a user can make gets its own message, with the cause and what
# to do, and its own exit status; none of them leaves an index behind.
source "$(dirname "$0")/test_lib.sh"

make_db chat.db k3y "CREATE TABLE contact(id INTEGER PRIMARY KEY, name TEXT);
                     INSERT INTO contact(name) VALUES ('张三');"
echo "not a database at all" > notes.txt
index() { expect_status "$1" "$2" index --root idx "${@:3}"; }

index 3 "no such database file: nope.db" --db nope.db --table contact --pkey id --fields name
[ ! -e nope.db ] || fail "a missing database must not be created"
index 4 "wrong key, or not a database" --db chat.db --key wrong --table contact --pkey id --fields name
index 4 "give its key with --key" --db chat.db --table contact --pkey id --fields name
index 4 "cannot read notes.txt" --db notes.txt --key k3y --table contact --pkey id --fields name
index 5 "its tables: contact" --db chat.db --key k3y --table contacts --pkey id --fields name
index 5 "no column nick in table contact" --db chat.db --key k3y --table contact --pkey id --fields name,nick
index 5 "no column uid" --db chat.db --key k3y --table contact --pkey uid --fields name
index 5 "bad --where condition \"age > 3\": no such column: age" \
  --db chat.db --key k3y --table contact --pkey id --fields name --where "age > 3"
index 2 "contains a single quote" --db chat.db --key "it's" --table contact --pkey id --fields name
index 2 "--table is required" --db chat.db --key k3y --pkey id --fields name
[ ! -e idx ] || fail "a failed check must leave no index root behind"

# A directory with other files is not taken as a root: the engine would wipe it.
mkdir precious && echo keep > precious/file
expect_status 2 "holds other files and no index" index --root precious --db chat.db --key k3y \
  --table contact --pkey id --fields name
[ "$(cat precious/file)" = keep ] || fail "a foreign directory was touched"

"$tool" index --root idx --db chat.db --key k3y --table contact --pkey id --fields name >/dev/null 2>&1
expect_status 6 "nowhere holds no index" search --root nowhere --index contact zs
[ ! -e nowhere ] || fail "search must not create a root"
expect_status 6 "precious holds no index" stats --root precious
expect_status 7 "indexes there: contact" search --root idx --index contacts zs
expect_status 2 "its fields: name" search --root idx --index contact --field nick zs
expect_status 2 "--limit" search --root idx --index contact --limit 0 zs
expect_status 2 "give either primary keys or --all" delete --root idx --index contact
expect_status 2 "no group nogroup" compact --root idx --group nogroup
make_db other.db k3y "CREATE TABLE t(a);"
expect_status 7 "no index in idx covers database other.db" watch --root idx --db other.db --key k3y
expect_status 2 "unknown command frob" frob
expect_status 2 "Exit status:" 
expect_status 0 "130  interrupted by Ctrl-C" index --help
echo ok

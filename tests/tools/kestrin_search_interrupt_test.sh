#!/usr/bin/env bash
# Ctrl-C during index stops at a batch boundary with the progress recorded;
# the next run goes on from there and every row ends up indexed exactly once
# (as many documents as rows, none deleted).
source "$(dirname "$0")/test_lib.sh"

rows=20000
# Each row gets a word of its own, its id spelt in letters: 12 is xbcq.
make_db big.db k3y "CREATE TABLE msg(id INTEGER PRIMARY KEY, body TEXT);
  WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n WHERE x < $rows)
  INSERT INTO msg SELECT x, 'message ' || x || ' ' || word FROM
    (SELECT x, 'x' || replace(replace(replace(replace(replace(replace(replace(replace(replace(
      replace(x, '0', 'a'), '1', 'b'), '2', 'c'), '3', 'd'), '4', 'e'), '5', 'f'), '6', 'g'), '7', 'h'),
      '8', 'i'), '9', 'j') || 'q' AS word FROM n);"
args=(index --root idx --db big.db --key k3y --table msg --pkey id --fields body)

# Into a file, progress comes as plain lines, the first after the first batch.
"$tool" "${args[@]}" 2>progress.txt >/dev/null &
pid=$!
for _ in $(seq 1 500); do
  grep -q 'rows' progress.txt && break
  sleep 0.01
done
kill -INT "$pid"
status=0
wait "$pid" || status=$?
[ "$status" -eq 130 ] || fail "an interrupted index run exited $status: $(cat progress.txt)"
grep -q "interrupted: .* of 20,000 rows of msg are indexed" progress.txt || fail "$(cat progress.txt)"
grep -q "run the same command again" progress.txt || fail "no hint: $(cat progress.txt)"
done_text=$(sed -n 's/.*interrupted: \([0-9,]*\) of.*/\1/p' progress.txt)
done_rows=$(echo "$done_text" | tr -d ,)
[ "$done_rows" -lt "$rows" ] || fail "the run was not interrupted before the end"
# What was reported is what the index holds: the run stopped between batches.
"$tool" stats --root idx | grep -Eq "^default +$done_text +0 " || fail "$("$tool" stats --root idx)"

out=$("$tool" "${args[@]}" 2>/dev/null)
[[ $out == *"rows in the table"* ]] || fail "resumed run: $out"
"$tool" stats --root idx | grep -Eq "^default +20,000 +0 " || fail "$("$tool" stats --root idx)"
for key in 1 $((done_rows + 1)) $rows; do
  word=x$(echo $key | tr 0-9 a-j)q
  [[ $("$tool" search --root idx --index msg "$word") == *"\"pkey_arr\":[\"$key\"]"* ]] \
    || fail "row $key is not found once by $word"
done
echo ok

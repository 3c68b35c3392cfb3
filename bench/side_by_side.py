#!/usr/bin/env python3
"""Side by side: our engine and SQLite FTS5 on one generated corpus.

Generates chat-like rows (Chinese characters drawn by a Zipf law, everyday
words mixed in, 10% Latin rows) and contact names, writes them with the query
files of every class into a work directory, indexes them into FTS5 (trigram
for Chinese, unicode61 for Latin prefixes) through Python's sqlite3, times the
FTS5 queries, runs bench/side_by_side_bench (our engine on the same files) and
prints one table: per class median and 99th percentile, our/FTS5 ratio, hits,
then bytes per row, build rows/s, peak RSS and the directories' memory.

    python3 bench/side_by_side.py --bench build-bench/bench/side_by_side_bench --rows 1000000

FTS5 fetches every matching rowid (the work a ranked search must do); ours
returns the first page of 20 (all hits for the "_all" classes) with the
found count. FTS5 trigram cannot answer queries of fewer than 3 characters;
neither FTS5 tokenizer knows pinyin.
"""
import argparse
import json
import os
import random
import resource
import sqlite3
import subprocess
import sys
import tempfile
import time

WORDS = ["我们", "今天", "没问题", "好的", "明天", "一起", "吃饭", "什么", "时候", "知道", "可以", "谢谢",
         "工作", "晚上", "开会", "现在", "已经", "还是", "因为", "所以", "怎么", "觉得", "朋友", "周末"]
LATIN = ["hello", "meeting", "review", "menu", "lunch", "release", "merge", "help", "ok", "thanks",
         "tomorrow", "report", "design", "deadline", "coffee", "project", "update", "weekend"]
NAME_CHARS = [("张", "zhang"), ("王", "wang"), ("李", "li"), ("刘", "liu"), ("陈", "chen"), ("杨", "yang"),
              ("黄", "huang"), ("赵", "zhao"), ("吴", "wu"), ("周", "zhou"), ("徐", "xu"), ("孙", "sun")]
GIVEN_CHARS = [("伟", "wei"), ("芳", "fang"), ("娜", "na"), ("敏", "min"), ("静", "jing"), ("强", "qiang"),
               ("磊", "lei"), ("军", "jun"), ("洋", "yang"), ("勇", "yong"), ("杰", "jie"), ("涛", "tao"),
               ("明", "ming"), ("超", "chao"), ("华", "hua"), ("平", "ping"), ("秀", "xiu"), ("英", "ying"),
               ("丽", "li"), ("霞", "xia"), ("建", "jian"), ("国", "guo"), ("文", "wen"), ("辉", "hui")]


def generate(rows, contacts, per_class, out):
    rng = random.Random(20261125)
    han = [chr(c) for c in rng.sample(range(0x4E00, 0x9FA6), 3000)]
    cum, total = [], 0.0
    for i in range(len(han)):
        total += 1.0 / (i + 1)
        cum.append(total)
    msgs = []
    for _ in range(rows):
        if rng.random() < 0.1:
            msgs.append(" ".join(rng.choice(LATIN) for _ in range(rng.randint(2, 6))))
            continue
        length = max(2, int(rng.expovariate(1 / 18.0)))
        text = []
        while len("".join(text)) < length:
            text.append(rng.choice(WORDS) if rng.random() < 0.25 else rng.choices(han, cum_weights=cum)[0])
        msgs.append("".join(text)[:length])
    names = []
    for _ in range(contacts):
        parts = [rng.choice(NAME_CHARS)] + [rng.choice(GIVEN_CHARS) for _ in range(rng.randint(1, 2))]
        names.append(parts)
    os.makedirs(os.path.join(out, "queries"), exist_ok=True)
    with open(os.path.join(out, "messages.txt"), "w") as f:
        f.write("\n".join(msgs) + "\n")
    with open(os.path.join(out, "contacts.txt"), "w") as f:
        f.write("\n".join("".join(c for c, _ in n) for n in names) + "\n")

    chinese = [m for m in msgs if m and m[0] >= "\u4e00" and len(m) >= 8]
    latin = [m for m in msgs if m and m[0] < "\u4e00"]

    def cut(n):
        m = rng.choice(chinese)
        at = rng.randrange(0, len(m) - n + 1)
        return m[at:at + n]

    q = {}
    for n in (1, 2, 3, 4):
        q["han%d" % n] = [cut(n) for _ in range(per_class)]
    q["han1_all"] = q["han1"]
    q["and_3_3"] = []
    for _ in range(per_class):
        m = rng.choice(chinese)
        q["and_3_3"].append(m[0:3] + " " + m[-3:])
    q["latin_all"] = []
    for _ in range(per_class):
        w = rng.choice(rng.choice(latin).split())
        q["latin_all"].append(w[:rng.randint(2, min(4, len(w)))])
    picks = [rng.choice(names) for _ in range(per_class)]
    q["name"] = ["".join(c for c, _ in n) for n in picks]
    q["pinyin_full"] = ["".join(p for _, p in n) for n in picks]
    q["pinyin_prefix"] = [s[:rng.randint(2, len(s))] for s in q["pinyin_full"]]
    q["pinyin_initials"] = ["".join(p[0] for _, p in n) for n in picks]
    # Single characters of the alphabet drawn uniformly rather than cut from
    # rows (which favours the most frequent ones), among those the corpus
    # holds; an own generator leaves every other class as it was.
    present = set("".join(chinese))
    any_rng = random.Random(20261126)
    q["han1_any"] = [any_rng.choice([c for c in han if c in present]) for _ in range(per_class)]
    q["han1_any_all"] = q["han1_any"]
    for cls, lines in q.items():
        with open(os.path.join(out, "queries", cls + ".txt"), "w") as f:
            f.write("\n".join(lines) + "\n")
    return msgs, q


def fts5_side(msgs, q, work, repeat, reuse):
    path = os.path.join(work, "fts5.db")
    build = None
    if reuse and os.path.exists(path):
        db = sqlite3.connect(path)
    else:
        if os.path.exists(path):
            os.remove(path)
        db = sqlite3.connect(path)
        db.execute("CREATE VIRTUAL TABLE tri USING fts5(content, tokenize='trigram')")
        db.execute("CREATE VIRTUAL TABLE uni USING fts5(content)")
        t0 = time.perf_counter()
        with db:
            db.executemany("INSERT INTO tri(rowid, content) VALUES (?, ?)", enumerate(msgs))
        build = time.perf_counter() - t0
        with db:
            db.executemany("INSERT INTO uni(rowid, content) VALUES (?, ?)", enumerate(msgs))
        db.execute("PRAGMA optimize")
    size = os.path.getsize(path)

    def quote(s):
        return '"' + s.replace('"', '""') + '"'

    plans = {
        "han3": ("tri", lambda s: quote(s)),
        "han4": ("tri", lambda s: quote(s)),
        "and_3_3": ("tri", lambda s: " AND ".join(quote(p) for p in s.split())),
        "latin_all": ("uni", lambda s: quote(s) + "*"),
    }
    result = {}
    for cls, (table, match) in plans.items():
        stmt = "SELECT rowid FROM %s WHERE %s MATCH ?" % (table, table)
        times, hits = [], 0
        for r in range(repeat):
            for s in q[cls]:
                t = time.perf_counter()
                rows = db.execute(stmt, (match(s),)).fetchall()
                times.append((time.perf_counter() - t) * 1000)
                if r == 0:
                    hits += len(rows)
        times.sort()
        result[cls] = (times[len(times) // 2], times[len(times) * 99 // 100], hits / len(q[cls]))
    db.close()
    return result, build, size


def our_side(bench, work, repeat, root):
    env = dict(os.environ, KS_SBS_DIR=work, KS_SBS_REPEAT=str(repeat))
    if root:
        env["KS_SBS_ROOT"] = root
    out = subprocess.run([bench, "--benchmark_format=json"], env=env, check=True, capture_output=True, text=True)
    runs = {b["name"].split("/iterations:")[0]: b for b in json.loads(out.stdout)["benchmarks"]}
    return runs


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bench", required=True, help="path of side_by_side_bench")
    ap.add_argument("--rows", type=int, default=100000)
    ap.add_argument("--contacts", type=int, default=100000)
    ap.add_argument("--queries", type=int, default=200)
    ap.add_argument("--repeat", type=int, default=5)
    ap.add_argument("--work", default="")
    ap.add_argument("--reuse", action="store_true",
                    help="query the FTS5 database left in --work instead of building it again")
    ap.add_argument("--root", default="",
                    help="keep our index there (KS_SBS_ROOT): a kept index is opened, not built again")
    args = ap.parse_args()
    work = args.work or tempfile.mkdtemp(prefix="ks-sbs-")
    msgs, q = generate(args.rows, args.contacts, args.queries, work)
    fts, fts_build, fts_size = fts5_side(msgs, q, work, args.repeat, args.reuse)
    fts_rss = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024
    ours = our_side(args.bench, work, args.repeat, args.root)
    print("rows %d, contacts %d, %d queries per class, each run %d times" %
          (args.rows, args.contacts, args.queries, args.repeat))
    print("| class | FTS5 median / p99 ms | ours median / p99 ms | ours/FTS5 (median) | ours CPU ms per call | hits FTS5 / ours |")
    print("|---|---|---|---|---|---|")
    for cls in sorted(q):
        o = ours["BM_Query/" + cls]
        f = fts.get(cls)
        fcell = "%.4f / %.4f" % f[:2] if f else "cannot answer"
        ratio = "%.2f" % (o["p50_ms"] / f[0]) if f else ""
        hits = "%s / %.0f" % ("%.0f" % f[2] if f else "-", o["mean_found"])
        cpu = o["cpu_time"] / (len(q[cls]) * args.repeat)  # reported in ms
        print("| %s | %s | %.4f / %.4f | %s | %.4f | %s |" % (cls, fcell, o["p50_ms"], o["p99_ms"], ratio, cpu, hits))
    b = ours["BM_Build"]
    peak = max(o.get("peak_rss_mb", 0) for o in ours.values())
    if "rows_per_cpu_s" in b:
        print("build: ours %.0f rows per CPU second, %.0f rows/s, %.0f bytes/row (messages), peak RSS %.0f MB; directories %.2f MB = "
              "%.2f%% of the message index" % (b["rows_per_cpu_s"], b["rows_per_s"], b["bytes_per_row"], peak,
                                               b["directory_mb"], b["directory_pct"]))
    else:
        print("ours: kept index opened in %.2f s, peak RSS %.0f MB; directories %.2f MB" % (b["open_s"], peak, b["directory_mb"]))
    if fts_build is not None:
        print("build: FTS5 trigram %.0f rows/s, both FTS5 tables %.0f bytes/row, python peak RSS %.0f MB" %
              (len(msgs) / fts_build, fts_size / len(msgs), fts_rss))
    else:
        print("FTS5: database reused, both tables %.0f bytes/row" % (fts_size / len(msgs)))


if __name__ == "__main__":
    sys.exit(main())

"""The command line and the Unihan reader shared by the table generators:

    GENERATOR [--unihan DIR] [--out FILE | --check FILE]

DIR defaults to /usr/share/unicode. With --out - the file goes to standard
output. With --check FILE nothing is written: the exit status is 0 when FILE
equals what would be generated, 1 otherwise (CTest runs this against the
checked-in files)."""

import argparse
import bz2
import os
import sys


def read_unihan_fields(path, wanted):
    """{field: {code point: value}} for the wanted fields of one Unihan file."""
    result = {f: {} for f in wanted}
    with bz2.open(path, "rt", encoding="utf-8") as f:
        for line in f:
            if line.startswith("#") or not line.strip():
                continue
            cp, field, value = line.rstrip("\n").split("\t", 2)
            if field in result:
                result[field][int(cp[2:], 16)] = value
    return result


def run(script, description, default_out, generate):
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--unihan", default="/usr/share/unicode")
    parser.add_argument("--out", default=default_out)
    parser.add_argument("--check", metavar="FILE")
    args = parser.parse_args()
    text = generate(args.unihan)
    if args.check:
        with open(args.check, encoding="utf-8", newline="") as f:
            if f.read() == text:
                return 0
        sys.stderr.write("%s differs from the generator's output; re-run %s\n"
                         % (args.check, os.path.relpath(script)))
        return 1
    if args.out == "-":
        sys.stdout.write(text)
    else:
        with open(args.out, "w", encoding="utf-8", newline="\n") as f:
            f.write(text)
    return 0

#!/usr/bin/env python3
"""Writes the decoder's generated constant tables.

Every module tbl_*.py beside this script produces one source file under
tables/. Run with no arguments to rewrite them, or with --check to
verify that the committed files match what the generators produce.

  tools/tablegen/generate.py [--check] [--reference-data DIR] [--out DIR]

--check exits with 0 when every table matches, 1 when one is out of date,
and 77 (the skip code of CTest and Automake) when none is out of date but
some could not be generated for lack of the reference data.
"""
import argparse
import difflib
import importlib
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
REPO = os.path.dirname(os.path.dirname(HERE))
EXIT_SKIPPED = 77


def modules():
    sys.path.insert(0, HERE)
    names = sorted(f[:-3] for f in os.listdir(HERE) if f.startswith("tbl_") and f.endswith(".py"))
    return [importlib.import_module(n) for n in names]


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--check", action="store_true", help="compare instead of writing")
    ap.add_argument("--reference-data", default=os.path.join(REPO, "..", "shared", "reference-data"))
    ap.add_argument("--out", default=REPO, help="repository root to write into or compare with")
    args = ap.parse_args()

    have_ref = os.path.isdir(args.reference_data)
    failed = skipped = checked = 0
    for mod in modules():
        if getattr(mod, "NEEDS_REFERENCE_DATA", False) and not have_ref:
            print("skip %s: reference data not found at %s" % (mod.OUTPUT, args.reference_data))
            skipped += 1
            continue
        text = mod.generate(args.reference_data)
        path = os.path.join(args.out, mod.OUTPUT)
        if args.check:
            checked += 1
            old = open(path).read() if os.path.exists(path) else ""
            if old != text:
                failed += 1
                print("out of date: %s" % mod.OUTPUT)
                sys.stdout.writelines(list(difflib.unified_diff(
                    old.splitlines(True), text.splitlines(True), "committed", "generated"))[:40])
        else:
            with open(path, "w") as f:
                f.write(text)
            print("wrote %s" % mod.OUTPUT)
    if args.check:
        print("%d checked, %d out of date, %d skipped" % (checked, failed, skipped))
        if failed:
            return 1
        if skipped:
            return EXIT_SKIPPED
    return 0


if __name__ == "__main__":
    sys.exit(main())

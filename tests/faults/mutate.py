#!/usr/bin/env python3
"""Breaks the library, one line of mutants.txt at a time, and tells which suites notice. Run by hand: it takes hours.

usage: mutate.py [WORD]     only the lines that hold the word
A line is: file | old text | new text | what is broken. "\\n" stands for the end of a line.
"""
import os
import pathlib
import shutil
import subprocess
import sys

TOP = pathlib.Path(__file__).resolve().parents[2]
COPY = TOP / "build" / "mutants"
SUITES = ["golden/golden_test", "api/result_codes_test", "faults/recovery_test", "catalogue/differential_test",
          "faults/secrets_test", "faults/rot_test", "faults/faults_test", "faults/allocation_test"]
FEW = dict(os.environ, PMSTORE_TEST_SEED="1", PMSTORE_TEST_STEPS="40000", PMSTORE_FAULTS_STATES="60000",
           PMSTORE_FAULTS_SESSIONS="6")


def run(*command, **options):
    return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **options).returncode


def notice():
    """The first suite that fails, "build" when there is none to run, or nothing."""
    targets = [suite.split("/")[1] for suite in SUITES]
    if run("cmake", "--build", COPY / "build", "--target", *targets):
        return "build"
    for suite in SUITES:
        try:
            if run(COPY / "build" / "tests" / suite, env=FEW, timeout=900):
                return suite
        except subprocess.TimeoutExpired:
            return suite + " (hangs)"
    return ""


def main():
    shutil.rmtree(COPY / "source", ignore_errors=True)
    shutil.copytree(TOP, COPY / "source", ignore=shutil.ignore_patterns("build", ".git"))
    run("cmake", "-S", COPY / "source", "-B", COPY / "build", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo")
    caught = total = 0
    for line in (TOP / "tests/faults/mutants.txt").read_text().splitlines():
        if not line or line.startswith("#") or (len(sys.argv) > 1 and sys.argv[1] not in line):
            continue
        name, old, new, what = [part.strip().replace("\\n", "\n") for part in line.split(" | ")]
        file = COPY / "source" / name
        text = file.read_text()
        if text.count(old) != 1:
            print(f"{text.count(old)} places: {line}", flush=True)
            continue
        file.write_text(text.replace(old, new))
        suite = notice()
        file.write_text(text)
        total += 1
        caught += suite not in ("", "build")
        print(f"{suite or 'NOBODY':30} {name}: {what}", flush=True)
    print(f"{caught} of {total} noticed")


main()

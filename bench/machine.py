#!/usr/bin/env python3
"""Prints what a results file has to say besides the measurements: machine.py FOLDER MICRO

The machine, with the file system of the folder that is measured in; and the rates of the micro-benchmarks.
"""

import json
import os
import pathlib
import platform
import subprocess
import sys


def field(path, name):
    for line in pathlib.Path(path).read_text().splitlines():
        if line.startswith(name):
            return line.split(":", 1)[1].strip()
    return "unknown"


def machine(folder):
    memory = int(field("/proc/meminfo", "MemTotal").split()[0])
    filesystem = subprocess.run(
        ["df", "--output=fstype", folder], capture_output=True, text=True, check=True
    ).stdout.split()[-1]
    return {
        "processor": f"{field('/proc/cpuinfo', 'model name')}, {os.cpu_count()} cores",
        "memory": f"{memory / 2**20:.0f} GiB",
        "system": f"Linux {platform.release().split('-')[0]}",
        "file system": filesystem,
        "load before": f"{os.getloadavg()[0]:.1f}",
    }


def main():
    print(json.dumps({"machine": machine(sys.argv[1])}))
    for found in json.loads(pathlib.Path(sys.argv[2]).read_text())["benchmarks"]:
        rate = found.get("bytes_per_second") or found.get("items_per_second") or 1e9 / found["real_time"]
        print(json.dumps({"benchmark": found["name"], "rate": rate, "bytes": "bytes_per_second" in found}))


main()
